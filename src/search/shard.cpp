#include "search/shard.h"

#include <QCryptographicHash>
#include <QFile>
#include <QtEndian>

namespace search {

int shardOf(const QString& storedPath, int count)
{
    const QByteArray hash =
        QCryptographicHash::hash(QFile::encodeName(storedPath), QCryptographicHash::Sha256);
    const auto number = qFromBigEndian<quint64>(hash.constData());
    return static_cast<int>(number % static_cast<quint64>(count)) + 1;
}

} // namespace search
