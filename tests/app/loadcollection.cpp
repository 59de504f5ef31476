#include "loadcollection.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <array>
#include <random>

namespace {

constexpr int kTunes = 12;
/** So many of the tunes are those of both groups. */
constexpr int kSharedTunes = 4;
constexpr int kGroupFraction = 100;
constexpr int kBrokenFraction = 10;
constexpr int kSharedFraction = 4;
constexpr int kFilesPerFolder = 500;
constexpr double kTuneSeconds = 4;
constexpr int kSampleRateHz = 22050;

struct Format
{
    const char* suffix;
    const char* codec;
};
constexpr std::array<Format, 4> kFormats = {{
    {"wav", "pcm_u8"},
    {"flac", "flac"},
    {"mp3", "libmp3lame"},
    {"ogg", "libvorbis"},
}};

QByteArray noise(int size, unsigned seed)
{
    std::mt19937 random(seed);
    QByteArray bytes(size, '\0');
    std::generate(bytes.begin(), bytes.end(), [&random] { return static_cast<char>(random()); });
    return bytes;
}

QByteArray withFlippedBits(QByteArray bytes, unsigned seed)
{
    std::mt19937 random(seed);
    for (int i = 0; i < 200; ++i) {
        const auto position =
            static_cast<qsizetype>(random() % static_cast<unsigned>(bytes.size()));
        bytes[position] = static_cast<char>(bytes.at(position) ^ (1 << random() % 8));
    }
    return bytes;
}

} // namespace

LoadCollection::LoadCollection(int fileCount)
{
    encodeTunes();
    const int first = std::max(fileCount / kGroupFraction, kSmallestGroup);
    fillGroup(QStringLiteral("a"), first, true);
    fillGroup(QStringLiteral("b"), fileCount - first, false);
}

void LoadCollection::encodeTunes()
{
    for (int tune = 0; tune < kTunes; ++tune) {
        for (const Format& format : kFormats) {
            const QString name =
                QStringLiteral("tunes/%1.%2").arg(tune).arg(QLatin1String(format.suffix));
            const QString path = m_folder.makeTune(
                name, {static_cast<unsigned>(tune + 1), kTuneSeconds, kSampleRateHz, 1},
                {QStringLiteral("-c:a"), QLatin1String(format.codec)});
            m_sounds.append(testmedia::contentOf(path));
        }
    }
}

void LoadCollection::fillGroup(const QString& group, int fileCount, bool sharesTunes)
{
    int sounds = 0;
    for (int i = 0; i < fileCount; ++i) {
        const QString name = QStringLiteral("%1/%2/%3").arg(group).arg(i / kFilesPerFolder).arg(i);
        if (i % kBrokenFraction == 0) {
            writeBroken(name, m_brokenCount++);
            continue;
        }
        const bool shared = sharesTunes || sounds % kSharedFraction == 0;
        const int number = sounds / kSharedFraction;
        const int tune =
            shared ? number % kSharedTunes : kSharedTunes + number % (kTunes - kSharedTunes);
        writeSound(name, tune, number % static_cast<int>(kFormats.size()));
        ++sounds;
    }
}

void LoadCollection::writeSound(const QString& name, int tune, int format) const
{
    const auto formats = static_cast<int>(kFormats.size());
    const auto& suffix = kFormats.at(static_cast<size_t>(format)).suffix;
    m_folder.write(name + u'.' + QLatin1String(suffix), m_sounds.at(tune * formats + format));
}

void LoadCollection::writeBroken(const QString& name, int kind) const
{
    const auto seed = static_cast<unsigned>(kind);
    const int formats = static_cast<int>(kFormats.size());
    const auto format = static_cast<size_t>(kind / 12 % formats);
    const QByteArray& sound = m_sounds.at(kind % kTunes * formats + static_cast<int>(format));
    const QString path = name + u'.' + QLatin1String(kFormats.at(format).suffix);
    switch (kind % 12) {
    case 0:
        m_folder.write(path, {});
        break;
    case 1:
        m_folder.write(path, noise(5000, seed));
        break;
    case 2:
        m_folder.write(path, QByteArray("This is a list of songs, not a song.\n").repeated(50));
        break;
    case 3: // a download that has just begun
        m_folder.write(path, sound.left(40 + kind % 400));
        break;
    case 4: // one that broke off
        m_folder.write(path, sound.left(sound.size() / 3));
        break;
    case 5: // its beginning is missing
        m_folder.write(path, sound.mid(sound.size() / 2));
        break;
    case 6: // a header, and no sound behind it
        m_folder.write(path, sound.left(200) + noise(4000, seed));
        break;
    case 7: // another kind's header
        m_folder.write(path, QByteArray("\xFF\xD8\xFF\xE0\0\x10JFIF\0", 11) + sound.mid(11));
        break;
    case 8:
        m_folder.write(path, withFlippedBits(sound, seed));
        break;
    case 9:
        m_folder.write(path, QByteArray(8000, '\0'));
        break;
    case 10:
        QDir().mkpath(m_folder.filePath(path));
        break;
    default: // a link that leads nowhere
        QFile::link(QStringLiteral("nowhere.wav"), m_folder.filePath(path));
        break;
    }
}

qint64 LoadCollection::pairCount() const
{
    const auto count = [](const QString& group) {
        // What is listed: neither folders nor links that lead nowhere.
        qint64 files = 0;
        for (const QFileInfo& folder :
             QDir(group).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            files += QDir(folder.filePath()).entryList(QDir::Files).size();
        }
        return files;
    };
    return count(groupA()) * count(groupB());
}
