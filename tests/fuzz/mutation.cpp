#include "mutation.h"

#include <algorithm>
#include <array>
#include <functional>

namespace fuzz {

namespace {

constexpr qsizetype kLargest = 256 << 10;
constexpr quint64 kHeaderBytes = 256;
constexpr quint64 kMostChanges = 6;

/** Limits of the usual integers, their neighbours, and sizes that overflow once multiplied. */
constexpr std::array<quint64, 16> kTroubleNumbers = {0,
                                                     1,
                                                     2,
                                                     0x7F,
                                                     0x80,
                                                     0xFF,
                                                     0x7FFF,
                                                     0x8000,
                                                     0xFFFF,
                                                     0x10000,
                                                     0x3FFFFFFF,
                                                     0x7FFFFFFF,
                                                     0x80000000,
                                                     0xFFFFFFFF,
                                                     0x7FFFFFFFFFFFFFFF,
                                                     0xFFFFFFFFFFFFFFFF};

/** A place in \a content: every other time near its start, where the headers are. */
qsizetype somewhere(const QByteArray& content, Random& random)
{
    const auto size = static_cast<quint64>(content.size());
    const quint64 reach = pick(random, 2) == 0 ? std::min(size, kHeaderBytes) : size;
    return static_cast<qsizetype>(pick(random, reach));
}

/** A short length as a rule, now and then one of any size, within what follows \a position. */
qsizetype someLength(const QByteArray& content, qsizetype position, Random& random)
{
    const auto rest = static_cast<quint64>(content.size() - position);
    const quint64 reach = pick(random, 4) == 0 ? rest : std::min<quint64>(rest, 16);
    return static_cast<qsizetype>(pick(random, reach) + 1);
}

void flipBit(QByteArray& content, Random& random)
{
    const qsizetype at = somewhere(content, random);
    content[at] = static_cast<char>(content.at(at) ^ (1 << pick(random, 8)));
}

void replaceByte(QByteArray& content, Random& random)
{
    content[somewhere(content, random)] = static_cast<char>(pick(random, 256));
}

void writeNumber(QByteArray& content, Random& random)
{
    quint64 number = kTroubleNumbers[pick(random, kTroubleNumbers.size())];
    number += pick(random, 4) == 0 ? pick(random, 9) - 4 : 0;
    const qsizetype at = somewhere(content, random);
    const qsizetype width = std::min(qsizetype{1} << pick(random, 4), content.size() - at);
    const bool bigEndian = pick(random, 2) == 0;
    for (qsizetype i = 0; i < width; ++i) {
        const qsizetype place = bigEndian ? width - 1 - i : i;
        content[at + place] = static_cast<char>(number >> (8 * i));
    }
}

void addToByte(QByteArray& content, Random& random)
{
    const qsizetype at = somewhere(content, random);
    content[at] = static_cast<char>(content.at(at) + static_cast<int>(pick(random, 33)) - 16);
}

void removePiece(QByteArray& content, Random& random)
{
    const qsizetype at = somewhere(content, random);
    content.remove(at, someLength(content, at, random));
}

void doublePiece(QByteArray& content, Random& random)
{
    const qsizetype at = somewhere(content, random);
    content.insert(at, content.mid(at, someLength(content, at, random)));
}

void insertNoise(QByteArray& content, Random& random)
{
    const qsizetype at = somewhere(content, random);
    content.insert(at, noise(static_cast<qsizetype>(pick(random, 32) + 1), random));
}

void copyPieceOver(QByteArray& content, Random& random)
{
    const qsizetype from = somewhere(content, random);
    const QByteArray piece = content.mid(from, someLength(content, from, random));
    const qsizetype to = somewhere(content, random);
    content.replace(to, std::min(piece.size(), content.size() - to), piece);
}

void blankPiece(QByteArray& content, Random& random)
{
    const qsizetype at = somewhere(content, random);
    const qsizetype length = someLength(content, at, random);
    content.replace(at, length, QByteArray(length, pick(random, 2) == 0 ? '\0' : '\xFF'));
}

void cutOff(QByteArray& content, Random& random)
{
    content.truncate(somewhere(content, random));
}

using Change = void (*)(QByteArray&, Random&);
constexpr std::array<Change, 14> kChanges = {
    flipBit,   flipBit,     replaceByte, replaceByte,   writeNumber, writeNumber, writeNumber,
    addToByte, removePiece, doublePiece, copyPieceOver, blankPiece,  insertNoise, cutOff};

/** The start of \a content, then the end of another one. */
QByteArray spliced(const QByteArray& content, const QByteArray& other, Random& random)
{
    if (content.isEmpty() || other.isEmpty()) {
        return content + other;
    }
    return content.first(somewhere(content, random)) + other.sliced(somewhere(other, random));
}

} // namespace

Random randomFor(quint64 seed, quint64 caseNumber)
{
    std::seed_seq sequence{static_cast<quint32>(seed), static_cast<quint32>(seed >> 32),
                           static_cast<quint32>(caseNumber),
                           static_cast<quint32>(caseNumber >> 32)};
    return Random(sequence);
}

quint64 pick(Random& random, quint64 count)
{
    // The standard's distributions differ between libraries.
    return random() % count;
}

QByteArray mutated(QByteArray content, const QList<QByteArray>& others, Random& random)
{
    if (!others.isEmpty() && pick(random, 8) == 0) {
        const auto other =
            static_cast<qsizetype>(pick(random, static_cast<quint64>(others.size())));
        content = spliced(content, others.at(other), random);
    }
    const quint64 changes = 1 + pick(random, kMostChanges);
    for (quint64 i = 0; i < changes && !content.isEmpty(); ++i) {
        kChanges[pick(random, kChanges.size())](content, random);
    }
    content.truncate(kLargest);
    return content;
}

QByteArray noise(qsizetype size, Random& random)
{
    QByteArray bytes(size, Qt::Uninitialized);
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random()); });
    return bytes;
}

} // namespace fuzz
