#include "settings/settingsstore.h"

#include <QSettings>
#include <QString>
#include <QVariant>

namespace settings {

namespace {

constexpr bool kDefaultMulticore = true;

/** The store, opened on the spot: it lives as long as one read or write. */
class Store : public QSettings
{
public:
    Store()
        : QSettings(QStringLiteral("tandrik"), QStringLiteral("quorvel"))
    {
    }
};

QString similarityKey()
{
    return QStringLiteral("similarity");
}

QString multicoreKey()
{
    return QStringLiteral("multicore");
}

} // namespace

int similarityThreshold()
{
    return Store().value(similarityKey()).toInt();
}

bool multicoreEnabled()
{
    return Store().value(multicoreKey()).toBool();
}

Values read()
{
    const Store store;
    return {store.value(similarityKey()).toInt(), store.value(multicoreKey()).toBool()};
}

void write(const Values& values)
{
    Store store;
    store.setValue(similarityKey(), values.similarityThreshold);
    store.setValue(multicoreKey(), values.multicore);
}

bool hasSimilarityThreshold()
{
    return Store().contains(similarityKey());
}

void writeMissingDefaults()
{
    Store store;
    if (!store.contains(similarityKey())) {
        store.setValue(similarityKey(), kDefaultSimilarityThreshold);
    }
    if (!store.contains(multicoreKey())) {
        store.setValue(multicoreKey(), kDefaultMulticore);
    }
}

} // namespace settings
