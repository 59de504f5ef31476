#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QtEndian>

/** Matroska files, built of their elements so that these can claim anything. */
namespace matroska {

/** An element: its number in hexadecimal, its length in eight bytes, its content. */
inline QByteArray element(const QByteArray& number, const QByteArray& content)
{
    QByteArray length(8, '\0');
    qint64 rest = content.size();
    for (qsizetype i = 7; i > 0; --i) {
        length[i] = static_cast<char>(rest & 0xFF);
        rest >>= 8;
    }
    length[0] = '\x01';
    return QByteArray::fromHex(number) + length + content;
}

/** A number of two bytes. */
inline QByteArray number(int value)
{
    return QByteArray(1, static_cast<char>(value >> 8)) + static_cast<char>(value & 0xFF);
}

/** A track of mono 16-bit sound. */
inline QByteArray soundTrack(int index, double sampleRateHz = 44100.0)
{
    QByteArray rate(sizeof(sampleRateHz), '\0');
    qToBigEndian(sampleRateHz, rate.data());
    const QByteArray audio =
        element("E1", element("B5", rate) + element("9F", "\x01") + element("6264", "\x10"));
    return element("AE", element("D7", number(index)) + element("73C5", number(index)) +
                             element("83", "\x02") + element("86", "A_PCM/INT/LIT") + audio);
}

/** A block of sound of the first track at \a milliseconds. */
inline QByteArray soundBlock(int milliseconds, const QByteArray& samples)
{
    return element("A3", "\x81" + number(milliseconds) + "\x80" + samples);
}

/** A whole file. \a duration is the element for it, or nothing. */
inline QByteArray file(const QByteArrayList& tracks, const QByteArrayList& blocks,
                       const QByteArray& duration = {})
{
    return element("1A45DFA3", element("4282", "matroska")) +
           element("18538067",
                   element("1549A966", element("2AD7B1", "\x0F\x42\x40") + duration) +
                       element("1654AE6B", tracks.join()) +
                       element("1F43B675", element("E7", QByteArray(1, '\0')) + blocks.join()));
}

} // namespace matroska
