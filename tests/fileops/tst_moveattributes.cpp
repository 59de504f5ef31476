#include "filefixture.h"
#include "fileops/fileoperations.h"
#include "tracedrun.h"

#include <QFile>
#include <QMap>
#include <QTest>

#include <acl/libacl.h>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <sys/acl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

using filefixture::entries;
using filefixture::read;
using filefixture::write;

namespace {

using Attributes = QMap<QByteArray, QByteArray>;

constexpr auto kContent = "content";
constexpr auto kCapability = "security.capability";
constexpr time_t kModified = 1'234'567'890;
constexpr long kNanoseconds = 123'456'789;

/** The right to bind to low ports, effective, as the system writes it. */
QByteArray capability()
{
    return QByteArray::fromHex("0100000200040000000000000000000000000000");
}

bool setAttributes(const QString& path, const Attributes& attributes)
{
    const QByteArray name = QFile::encodeName(path);
    for (auto attribute = attributes.cbegin(); attribute != attributes.cend(); ++attribute) {
        const QByteArray& value = attribute.value();
        if (::setxattr(name.constData(), attribute.key().constData(), value.constData(),
                       static_cast<size_t>(value.size()), 0) != 0) {
            return false;
        }
    }
    return true;
}

/** All attributes but lists of rights. */
Attributes attributesOf(const QString& path)
{
    const QByteArray file = QFile::encodeName(path);
    QByteArray names(XATTR_LIST_MAX, '\0');
    const ssize_t length =
        ::listxattr(file.constData(), names.data(), static_cast<size_t>(names.size()));
    names.truncate(qMax(length, ssize_t{0}));
    Attributes attributes;
    for (const QByteArray& name : names.split('\0')) {
        QByteArray value(XATTR_SIZE_MAX, '\0');
        const ssize_t size = ::getxattr(file.constData(), name.constData(), value.data(),
                                        static_cast<size_t>(value.size()));
        if (!name.isEmpty() && !name.startsWith("system.") && size >= 0) {
            attributes.insert(name, value.left(size));
        }
    }
    return attributes;
}

using AccessList = std::unique_ptr<void, int (*)(void*)>;

bool setList(const QString& path, acl_type_t type, const char* text)
{
    const AccessList list(::acl_from_text(text), &::acl_free);
    return list && ::acl_set_file(QFile::encodeName(path).constData(), type,
                                  static_cast<acl_t>(list.get())) == 0;
}

/** The access control list as text; that of the mode if there is none. */
QByteArray listOf(const QString& path)
{
    const AccessList list(::acl_get_file(QFile::encodeName(path).constData(), ACL_TYPE_ACCESS),
                          &::acl_free);
    const AccessList text(list ? ::acl_to_any_text(static_cast<acl_t>(list.get()), nullptr, ',',
                                                   TEXT_ABBREVIATE | TEXT_NUMERIC_IDS)
                               : nullptr,
                          &::acl_free);
    return static_cast<const char*>(text.get());
}

struct stat statusOf(const QString& path)
{
    struct stat status = {};
    ::stat(QFile::encodeName(path).constData(), &status);
    return status;
}

void setModeAndTime(const QString& path, mode_t mode)
{
    const QByteArray name = QFile::encodeName(path);
    const timespec times[2] = {{kModified, 1}, {kModified, kNanoseconds}};
    QCOMPARE(::chmod(name.constData(), mode), 0);
    QCOMPARE(::utimensat(AT_FDCWD, name.constData(), times, 0), 0);
}

} // namespace

/**
 * What a file that is moved to another file system keeps beside content, mode and time: users'
 * ratings and tags are extended attributes, and lists of rights protect it.
 */
class MoveAttributesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void extendedAttributesGoAlong_data();
    void extendedAttributesGoAlong();
    void readOnlyFileOfAnOrdinaryUserKeepsItsAttributes();
    void moreAndLargerAttributesThanTheTargetTakesAreNoFailure();
    void accessListGoesAlong_data();
    void accessListGoesAlong();
    void listOfTheFolderIsNotInherited();
    void rightsOfAProgramGoAlongWithItsOwnerOnly_data();
    void rightsOfAProgramGoAlongWithItsOwnerOnly();
    void modeBitsOfAnotherOwnerAreLeftOut_data();
    void modeBitsOfAnotherOwnerAreLeftOut();

    void attributeThatIsNotTakenIsNoFailure_data();
    void attributeThatIsNotTakenIsNoFailure();
    void attributeThatCannotBeReadIsAFailure_data();
    void attributeThatCannotBeReadIsAFailure();
    void attributesGoAlongWithoutTheListOfExceptions();
    void withoutAListTheGroupHasNoMoreRights_data();
    void withoutAListTheGroupHasNoMoreRights();
    void inheritedListThatStaysIsAFailure();

private:
    QString source() const
    {
        return m_here->filePath(u"a.mp3"_s);
    }
    QString destination() const
    {
        return m_other->filePath(u"b.mp3"_s);
    }
    /** Makes the source; skips where a file system has no such attributes, or no such lists. */
    void makeSource(const Attributes& attributes, const char* list = nullptr);
    tracedrun::Result move(const QStringList& faults) const
    {
        return tracedrun::run({u"move"_s, source(), destination()}, faults);
    }
    void verifyMoved() const;
    void verifyAsItWas() const;

    std::unique_ptr<filefixture::OpenFolder> m_here;
    std::unique_ptr<filefixture::SecondFileSystem> m_other;
};

/** Stops the test function, too, where makeSource() skipped. */
#define MAKE_SOURCE(...)                                                                           \
    makeSource(__VA_ARGS__);                                                                       \
    if (QTest::currentTestFailed() || !QFile::exists(source())) {                                  \
        return;                                                                                    \
    }

#define SKIP_UNLESS_TRACED()                                                                       \
    if (QString reason; !tracedrun::isPossible(&reason)) {                                         \
        QSKIP(qPrintable(reason));                                                                 \
    }

#define SKIP_UNLESS_ADMINISTRATOR()                                                                \
    if (::geteuid() != 0) {                                                                        \
        QSKIP("only the administrator may do this");                                               \
    }

void MoveAttributesTest::init()
{
    m_here = std::make_unique<filefixture::OpenFolder>();
    m_other = std::make_unique<filefixture::SecondFileSystem>();
}

void MoveAttributesTest::cleanup()
{
    m_here.reset();
    m_other.reset();
}

void MoveAttributesTest::makeSource(const Attributes& attributes, const char* list)
{
    if (!m_other->isAvailable()) {
        QSKIP(filefixture::kNoSecondFileSystem);
    }
    const QString probe = m_other->filePath(u"probe"_s);
    for (const QString& path : {probe, source()}) {
        QVERIFY(write(path, kContent));
        if (!setAttributes(path, attributes) ||
            (list != nullptr && !setList(path, ACL_TYPE_ACCESS, list))) {
            const int error = errno;
            QVERIFY(QFile::remove(path));
            QSKIP(qPrintable(u"not on this file system: %1"_s.arg(qt_error_string(error))));
        }
    }
    QVERIFY(QFile::remove(probe));
}

void MoveAttributesTest::verifyMoved() const
{
    QCOMPARE(read(destination()), kContent);
    QCOMPARE(entries(m_here->path()), QStringList());
    QCOMPARE(entries(m_other->path()), QStringList(u"b.mp3"_s));
}

void MoveAttributesTest::verifyAsItWas() const
{
    QCOMPARE(read(source()), kContent);
    QCOMPARE(entries(m_here->path()), QStringList(u"a.mp3"_s));
    QCOMPARE(entries(m_other->path()), QStringList());
}

void MoveAttributesTest::extendedAttributesGoAlong_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QByteArray>("value");
    const auto row = [](const char* title, const char* name, const QByteArray& value) {
        QTest::addRow("%s", title) << QByteArray(name) << value;
    };
    row("rating", "user.baloo.rating", "5");
    row("tags", "user.xdg.tags", "J\u00f6rg,\u97f3");
    row("bytes", "user.bytes", QByteArray("a\0\xff\n", 4));
    row("empty", "user.empty", "");
    row("longest name", ("user." + QByteArray(250, 'n')).constData(), "x");
    row("2 KiB", "user.long", filefixture::noise(2048));
    row("administrator's", "trusted.quorvel", "x");
    row("rights of a program", kCapability, capability());
}

void MoveAttributesTest::extendedAttributesGoAlong()
{
    QFETCH(const QByteArray, name);
    QFETCH(const QByteArray, value);
    MAKE_SOURCE({{name, value}, {"user.second", "2"}});
    setModeAndTime(source(), 0755);
    QVERIFY(fileops::moveFile({source(), destination()}));
    verifyMoved();
    QCOMPARE(attributesOf(destination()), (Attributes{{name, value}, {"user.second", "2"}}));
    const struct stat moved = statusOf(destination());
    QCOMPARE(moved.st_mode & 07777U, 0755U);
    QCOMPARE(moved.st_mtim.tv_sec, kModified);
    QCOMPARE(moved.st_mtim.tv_nsec, kNanoseconds);
}

void MoveAttributesTest::readOnlyFileOfAnOrdinaryUserKeepsItsAttributes()
{
    const filefixture::OrdinaryUser user;
    MAKE_SOURCE({{"user.rating", "5"}});
    setModeAndTime(source(), 0444);
    QVERIFY(fileops::moveFile({source(), destination()}));
    verifyMoved();
    QCOMPARE(attributesOf(destination()), (Attributes{{"user.rating", "5"}}));
    QCOMPARE(statusOf(destination()).st_mode & 07777U, 0444U);
    QCOMPARE(statusOf(destination()).st_mtim.tv_sec, kModified);
}

void MoveAttributesTest::moreAndLargerAttributesThanTheTargetTakesAreNoFailure()
{
    // The memory file system has room for more than the disk.
    MAKE_SOURCE({{"user.rating", "5"}});
    constexpr int kCount = 1000;
    constexpr int kLarge = 20;
    Attributes attributes;
    for (int i = 0; i < kCount; ++i) {
        attributes.insert("user.quorvel." + QByteArray::number(i),
                          i < kLarge ? QByteArray(XATTR_SIZE_MAX, 'x') : QByteArray("x"));
    }
    const QString large = m_other->filePath(u"large.mp3"_s);
    QVERIFY(write(large, kContent));
    if (!setAttributes(large, attributes)) {
        QSKIP("no file system here takes so many attributes");
    }
    const QString arrived = m_here->filePath(u"c.mp3"_s);
    QVERIFY(fileops::moveFile({large, arrived}));
    QCOMPARE(read(arrived), kContent);
    QVERIFY(!QFile::exists(large));
}

void MoveAttributesTest::accessListGoesAlong_data()
{
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<uint>("specialBits");
    QTest::newRow("none but the mode") << QByteArray("u::rw-,g::r--,o::---") << 0U;
    QTest::newRow("a user") << QByteArray("u::rw-,u:1234:rw-,g::r--,m::rw-,o::---") << 0U;
    QTest::newRow("a group") << QByteArray("u::rwx,g::r-x,g:1234:rwx,m::rwx,o::r-x") << 0U;
    QTest::newRow("more than the mask")
        << QByteArray("u::rw-,u:1234:rwx,g::rwx,m::r--,o::---") << 0U;
    QTest::newRow("a user who may not")
        << QByteArray("u::rw-,u:1234:---,g::r--,m::r--,o::r--") << 0U;
    QTest::newRow("with special bits")
        << QByteArray("u::rwx,u:1234:r-x,g::r-x,m::r-x,o::---") << 06000U;
}

void MoveAttributesTest::accessListGoesAlong()
{
    QFETCH(const QByteArray, list);
    QFETCH(const uint, specialBits);
    MAKE_SOURCE({}, list.constData());
    setModeAndTime(source(), (statusOf(source()).st_mode & 0777U) | specialBits);
    const uint mode = statusOf(source()).st_mode;
    QCOMPARE(listOf(source()), list);
    QVERIFY(fileops::moveFile({source(), destination()}));
    verifyMoved();
    QCOMPARE(listOf(destination()), list);
    QCOMPARE(statusOf(destination()).st_mode, mode);
    QCOMPARE(statusOf(destination()).st_mtim.tv_sec, kModified);
}

void MoveAttributesTest::listOfTheFolderIsNotInherited()
{
    MAKE_SOURCE({}, "u::rw-,g::r--,o::---");
    QVERIFY(setList(m_other->path(), ACL_TYPE_DEFAULT, "u::rwx,u:1234:rwx,g::rwx,m::rwx,o::r-x"));
    QVERIFY(fileops::moveFile({source(), destination()}));
    verifyMoved();
    QCOMPARE(listOf(destination()), "u::rw-,g::r--,o::---");
}

void MoveAttributesTest::rightsOfAProgramGoAlongWithItsOwnerOnly_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<bool>("kept");
    QTest::newRow("owner is kept") << QString() << true;
    QTest::newRow("owner is not kept") << u"fchown:error=EPERM"_s << false;
    QTest::newRow("only the group is kept") << u"fchown:error=EPERM:when=1"_s << false;
}

void MoveAttributesTest::rightsOfAProgramGoAlongWithItsOwnerOnly()
{
    SKIP_UNLESS_TRACED();
    SKIP_UNLESS_ADMINISTRATOR();
    QFETCH(const QString, fault);
    QFETCH(const bool, kept);
    MAKE_SOURCE({{"user.rating", "5"}});
    QCOMPARE(::chown(QFile::encodeName(source()).constData(), 1234, 4321), 0);
    QVERIFY(setAttributes(source(), {{kCapability, capability()}}));
    const tracedrun::Result result = move(fault.isEmpty() ? QStringList() : QStringList(fault));
    QCOMPARE(result.injected > 0, !kept);
    QCOMPARE(result.output, "true\n");
    verifyMoved();
    QCOMPARE(statusOf(destination()).st_uid == 1234, kept);
    QCOMPARE(attributesOf(destination()).contains(kCapability), kept);
    QCOMPARE(attributesOf(destination()).value("user.rating"), "5");
}

void MoveAttributesTest::modeBitsOfAnotherOwnerAreLeftOut_data()
{
    QTest::addColumn<QString>("fault");
    QTest::addColumn<uint>("mode");
    QTest::newRow("owner and group are kept") << QString() << 06755U;
    QTest::newRow("only the group is kept") << u"fchown:error=EPERM:when=1"_s << 02755U;
    QTest::newRow("neither is kept") << u"fchown:error=EPERM"_s << 0755U;
}

/** A program must not run with the rights of a user who did not make it. */
void MoveAttributesTest::modeBitsOfAnotherOwnerAreLeftOut()
{
    SKIP_UNLESS_TRACED();
    SKIP_UNLESS_ADMINISTRATOR();
    QFETCH(const QString, fault);
    QFETCH(const uint, mode);
    MAKE_SOURCE({});
    QCOMPARE(::chown(QFile::encodeName(source()).constData(), 1234, 4321), 0);
    setModeAndTime(source(), 06755);
    const tracedrun::Result result = move(fault.isEmpty() ? QStringList() : QStringList(fault));
    QCOMPARE(result.injected > 0, !fault.isEmpty());
    QCOMPARE(result.output, "true\n");
    verifyMoved();
    QCOMPARE(statusOf(destination()).st_mode & 07777U, mode);
}

void MoveAttributesTest::attributeThatIsNotTakenIsNoFailure_data()
{
    QTest::addColumn<QString>("fault");
    // The target, whatever it answers.
    for (const char* error : {"EOPNOTSUPP", "ENOSPC", "EDQUOT", "EPERM", "EACCES", "E2BIG",
                              "ERANGE", "EINVAL", "ENOSYS", "EIO"}) {
        QTest::addRow("set: %s", error) << u"fsetxattr:error="_s + QString::fromLatin1(error);
    }
    // The source, if there is none for the user.
    for (const char* error : {"EOPNOTSUPP", "ENOSYS", "EPERM", "EACCES", "E2BIG"}) {
        QTest::addRow("listed: %s", error) << u"flistxattr:error="_s + QString::fromLatin1(error);
    }
    for (const char* error : {"ENODATA", "EPERM", "EACCES"}) {
        QTest::addRow("read: %s", error)
            << u"fgetxattr:when=1:error="_s + QString::fromLatin1(error);
        QTest::addRow("list of rights is read: %s", error)
            << u"fgetxattr:when=3:error="_s + QString::fromLatin1(error);
    }
}

void MoveAttributesTest::attributeThatIsNotTakenIsNoFailure()
{
    SKIP_UNLESS_TRACED();
    QFETCH(const QString, fault);
    MAKE_SOURCE({{"user.rating", "5"}});
    setModeAndTime(source(), 0640);
    const tracedrun::Result result = move({fault});
    QVERIFY(result.injected > 0);
    QCOMPARE(result.output, "true\n");
    verifyMoved();
    QCOMPARE(statusOf(destination()).st_mode & 07777U, 0640U);
    QCOMPARE(statusOf(destination()).st_mtim.tv_sec, kModified);
}

void MoveAttributesTest::attributeThatCannotBeReadIsAFailure_data()
{
    QTest::addColumn<QString>("fault");
    for (const char* fault :
         {"flistxattr:when=1:error=EIO", "flistxattr:when=2:error=EIO", "flistxattr:error=ENOMEM",
          "fgetxattr:when=1:error=EIO", "fgetxattr:when=2:error=EIO", "fgetxattr:when=3:error=EIO",
          "fgetxattr:when=1:error=ENOMEM"}) {
        QTest::addRow("%s", fault) << QString::fromLatin1(fault);
    }
}

void MoveAttributesTest::attributeThatCannotBeReadIsAFailure()
{
    SKIP_UNLESS_TRACED();
    QFETCH(const QString, fault);
    MAKE_SOURCE({{"user.rating", "5"}});
    const tracedrun::Result result = move({fault});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "false\n");
    verifyAsItWas();
    QCOMPARE(attributesOf(source()), (Attributes{{"user.rating", "5"}}));
}

void MoveAttributesTest::attributesGoAlongWithoutTheListOfExceptions()
{
    SKIP_UNLESS_TRACED();
    MAKE_SOURCE({{"user.rating", "5"}});
    const int number = move({}).numberOfCall("openat", "\"/etc/xattr.conf\"");
    QVERIFY(number > 0);
    QVERIFY(QFile::remove(destination()));
    MAKE_SOURCE({{"user.rating", "5"}});
    const tracedrun::Result result = move({u"openat:error=EMFILE:when=%1"_s.arg(number)});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "true\n");
    QCOMPARE(attributesOf(destination()), (Attributes{{"user.rating", "5"}}));
}

void MoveAttributesTest::withoutAListTheGroupHasNoMoreRights_data()
{
    QTest::addColumn<QByteArray>("group");
    QTest::addColumn<uint>("mode");
    QTest::newRow("none") << QByteArray("---") << 0700U;
    QTest::newRow("read") << QByteArray("r--") << 0740U;
    QTest::newRow("write") << QByteArray("-w-") << 0720U;
    QTest::newRow("execute") << QByteArray("--x") << 0710U;
    QTest::newRow("all") << QByteArray("rwx") << 0770U;
}

void MoveAttributesTest::withoutAListTheGroupHasNoMoreRights()
{
    SKIP_UNLESS_TRACED();
    QFETCH(const QByteArray, group);
    QFETCH(const uint, mode);
    MAKE_SOURCE({}, ("u::rwx,u:1234:rwx,g::" + group + ",m::rwx,o::---").constData());
    QCOMPARE(statusOf(source()).st_mode & 07777U, 0770U);
    const tracedrun::Result result = move({u"fsetxattr:error=EOPNOTSUPP"_s});
    QVERIFY(result.injected > 0);
    QCOMPARE(result.output, "true\n");
    verifyMoved();
    QCOMPARE(statusOf(destination()).st_mode & 07777U, mode);
}

void MoveAttributesTest::inheritedListThatStaysIsAFailure()
{
    SKIP_UNLESS_TRACED();
    MAKE_SOURCE({}, "u::rw-,g::r--,o::---");
    QVERIFY(setList(m_other->path(), ACL_TYPE_DEFAULT, "u::rwx,u:1234:rwx,g::rwx,m::rwx,o::r-x"));
    tracedrun::Result result = move({u"fsetxattr:error=EIO"_s});
    QVERIFY(result.injected > 0);
    QCOMPARE(result.output, "false\n");
    verifyAsItWas();

    result = move({u"fsetxattr:error=ENOSPC:when=1"_s});
    QCOMPARE(result.injected, 1);
    QCOMPARE(result.output, "true\n");
    QCOMPARE(listOf(destination()), "u::rw-,g::r--,o::---");
}

QTEST_GUILESS_MAIN(MoveAttributesTest)
#include "tst_moveattributes.moc"
