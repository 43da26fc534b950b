#include "tests/transport/pseudo_terminal.h"
#include "transport/platform/published_ports.h"
#include "transport/uartcomm.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <memory>
#include <sys/file.h>
#include <sys/stat.h>

// Ports that a program publishes, in a runtime directory of the test's own.
class tst_PublishedPorts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void listedWhileTheyLive();
    void discovered();
    void severalNames();
    void privateDirectory();
    void heldNameIsRefused();
    void staleNameIsTakenOver();
    void badNames_data();
    void badNames();
    void foreignThingsAreNotListed_data();
    void foreignThingsAreNotListed();
    void unusableDirectory_data();
    void unusableDirectory();
    void listingDoesNotDisturbPublishing();

private:
    QByteArray in_dir(const QByteArray &name) const { return published_ports_dir().c_str() + ("/" + name); }

    std::unique_ptr<QTemporaryDir> runtime;
};

namespace {

mode_t mode_of(const QByteArray &path)
{
    struct stat info = {};
    return ::lstat(path.constData(), &info) == 0 ? info.st_mode : 0;
}

QList<std::string> listed_names()
{
    QList<std::string> names;
    for (const published_port &port : list_published_ports())
        names << port.name;
    return names;
}

} // namespace

void tst_PublishedPorts::init()
{
    runtime = std::make_unique<QTemporaryDir>();
    qputenv("XDG_RUNTIME_DIR", runtime->path().toLocal8Bit());
}

void tst_PublishedPorts::listedWhileTheyLive()
{
    QVERIFY(list_published_ports().empty());
    const pseudo_terminal module;
    {
        const port_publication publication("Simulated module", module.path().toStdString());
        QVERIFY2(publication.is_published(), publication.error().c_str());
        const auto ports = list_published_ports();
        QCOMPARE(ports.size(), std::size_t(1));
        QCOMPARE(ports[0].name, std::string("Simulated module"));
        QCOMPARE(ports[0].path, module.path().toStdString());
        QVERIFY(S_ISLNK(mode_of(in_dir("Simulated module"))));
        QVERIFY(S_ISREG(mode_of(in_dir(".Simulated module.lock"))));
    }
    QVERIFY(list_published_ports().empty());
    QCOMPARE(QDir(QString::fromStdString(published_ports_dir()))
                 .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot),
             QStringList());
}

void tst_PublishedPorts::discovered()
{
    const pseudo_terminal module;
    const port_publication publication("Simulated module", module.path().toStdString());
    QStringList found;
    UartComm comm;
    connect(&comm, &UartComm::DeviceFound, &comm,
            [&](const QString &name, const QString &port) { found << name + QLatin1Char('|') + port; });
    comm.DiscoverDevices();
    QCOMPARE(found.count(QStringLiteral("Simulated module|") + module.path()), 1);
}

void tst_PublishedPorts::severalNames()
{
    const pseudo_terminal first;
    const pseudo_terminal second;
    const port_publication b("b", first.path().toStdString());
    const port_publication a("a", second.path().toStdString());
    QCOMPARE(listed_names(), QList<std::string>({"a", "b"}));
}

void tst_PublishedPorts::privateDirectory()
{
    const pseudo_terminal module;
    // A directory of ours that everybody may enter is closed, and not read before it is.
    QVERIFY(QDir(runtime->path()).mkpath(QStringLiteral("vorsel/ports")));
    QCOMPARE(::chmod(published_ports_dir().c_str(), 0777), 0);
    QVERIFY(::symlink(module.path().toLatin1().constData(), in_dir("planted").constData()) == 0);
    const int lock = ::open(in_dir(".planted.lock").constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    QCOMPARE(::flock(lock, LOCK_EX), 0);
    QVERIFY(list_published_ports().empty());
    const port_publication publication("own", module.path().toStdString());
    QVERIFY(publication.is_published());
    QCOMPARE(mode_of(published_ports_dir().c_str()) & 07777U, 0700U);
    QCOMPARE(mode_of((runtime->path() + QStringLiteral("/vorsel")).toLocal8Bit()) & 07777U, 0700U);
    ::close(lock);
}

void tst_PublishedPorts::heldNameIsRefused()
{
    const pseudo_terminal first;
    const pseudo_terminal second;
    auto holder = std::make_unique<port_publication>("module", first.path().toStdString());
    {
        const port_publication refused("module", second.path().toStdString());
        QVERIFY(!refused.is_published());
        QVERIFY(!refused.error().empty());
    }
    QCOMPARE(list_published_ports().at(0).path, first.path().toStdString());
    holder.reset();
    const port_publication next("module", second.path().toStdString());
    QVERIFY(next.is_published());
    QCOMPARE(list_published_ports().at(0).path, second.path().toStdString());
}

void tst_PublishedPorts::staleNameIsTakenOver()
{
    const pseudo_terminal module;
    {
        const port_publication creates_the_directory("other", module.path().toStdString());
    }
    // As a process leaves them that was killed.
    QVERIFY(::symlink(module.path().toLatin1().constData(), in_dir("module").constData()) == 0);
    QFile lock(QString::fromLocal8Bit(in_dir(".module.lock")));
    QVERIFY(lock.open(QIODevice::WriteOnly));
    lock.close();
    QVERIFY(list_published_ports().empty());
    const pseudo_terminal next;
    const port_publication publication("module", next.path().toStdString());
    QVERIFY2(publication.is_published(), publication.error().c_str());
    QCOMPARE(list_published_ports().at(0).path, next.path().toStdString());
}

void tst_PublishedPorts::badNames_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("empty") << QByteArray("");
    QTest::newRow("hidden") << QByteArray(".module");
    QTest::newRow("parent") << QByteArray("..");
    QTest::newRow("path") << QByteArray("../../module");
    QTest::newRow("zero") << QByteArray("mod\0ule", 7);
    QTest::newRow("long") << QByteArray(241, 'x');
}

void tst_PublishedPorts::badNames()
{
    QFETCH(QByteArray, name);
    const pseudo_terminal module;
    const port_publication publication(name.toStdString(), module.path().toStdString());
    QVERIFY(!publication.is_published());
    QVERIFY(!publication.error().empty());
    QVERIFY(list_published_ports().empty());
}

void tst_PublishedPorts::foreignThingsAreNotListed_data()
{
    QTest::addColumn<QByteArray>("target"); // of the link; empty for a plain file in its place
    QTest::addColumn<bool>("locked");
    QTest::addColumn<bool>("listed");
    QTest::newRow("good") << QByteArray("PTY") << true << true;
    QTest::newRow("nobody holds it") << QByteArray("PTY") << false << false;
    QTest::newRow("plain file") << QByteArray() << true << false;
    QTest::newRow("link to a file") << QByteArray("/etc/passwd") << true << false;
    QTest::newRow("link to a directory") << QByteArray("/dev") << true << false;
    QTest::newRow("link to nothing") << QByteArray("/dev/pts/there-is-none") << true << false;
    QTest::newRow("relative link") << QByteArray("../../module") << true << false;
    QTest::newRow("link to itself") << QByteArray("SELF") << true << false;
    QTest::newRow("device of another user") << QByteArray("FOREIGN") << true << false;
}

void tst_PublishedPorts::foreignThingsAreNotListed()
{
    QFETCH(QByteArray, target);
    QFETCH(bool, locked);
    QFETCH(bool, listed);
    const pseudo_terminal module;
    {
        const port_publication creates_the_directory("other", module.path().toStdString());
    }
    const QByteArray link = in_dir("module");
    if (target == "PTY")
        target = module.path().toLatin1();
    if (target == "SELF")
        target = link;
    if (target == "FOREIGN") {
        constexpr uid_t nobody = 65534;
        const QByteArray own = module.path().toLatin1();
        const bool given_away = ::geteuid() == 0 && ::chown(own.constData(), nobody, gid_t(-1)) == 0;
        target = given_away ? own : QByteArray("/dev/null");
    }
    if (target.isEmpty())
        ::close(::open(link.constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    else
        QCOMPARE(::symlink(target.constData(), link.constData()), 0);
    const int lock = ::open(in_dir(".module.lock").constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    if (locked)
        QCOMPARE(::flock(lock, LOCK_EX | LOCK_NB), 0);
    QCOMPARE(listed_names(), listed ? QList<std::string>{"module"} : QList<std::string>{});
    ::close(lock);
    if (target.isEmpty()) {
        const port_publication publication("module", module.path().toStdString());
        QVERIFY(!publication.is_published()); // what is in the way is not ours to remove
        QVERIFY(S_ISREG(mode_of(link)));
    }
}

void tst_PublishedPorts::unusableDirectory_data()
{
    QTest::addColumn<bool>("link"); // in the directory's place; else a file
    QTest::newRow("a link to another directory") << true;
    QTest::newRow("a file") << false;
}

void tst_PublishedPorts::unusableDirectory()
{
    QFETCH(bool, link);
    const QTemporaryDir elsewhere;
    const QString place = runtime->filePath(QStringLiteral("vorsel"));
    QFile file(place);
    QVERIFY(link ? QFile::link(elsewhere.path(), place) : file.open(QIODevice::WriteOnly));
    const pseudo_terminal module;
    const port_publication publication("module", module.path().toStdString());
    QVERIFY(!publication.is_published());
    QVERIFY(!publication.error().empty());
    QVERIFY(QDir(elsewhere.path()).isEmpty());
    QVERIFY(list_published_ports().empty());
}

void tst_PublishedPorts::listingDoesNotDisturbPublishing()
{
    const pseudo_terminal module;
    {
        const port_publication creates_the_directory("other", module.path().toStdString());
    }
    std::atomic<bool> enough{false};
    const std::unique_ptr<QThread> lister(QThread::create([&] {
        while (!enough)
            list_published_ports();
    }));
    lister->start();
    constexpr int rounds = 800;
    int published = 0;
    for (int round = 0; round < rounds; ++round) {
        // Something stale for the lister to look at while it is taken over.
        const bool stale = ::symlink("/dev/null", in_dir("module").constData()) == 0;
        ::close(::open(in_dir(".module.lock").constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
        const port_publication publication("module", module.path().toStdString());
        published += stale && publication.is_published() ? 1 : 0;
    }
    enough = true;
    QVERIFY(lister->wait());
    QCOMPARE(published, rounds);
}

QTEST_GUILESS_MAIN(tst_PublishedPorts)
#include "tst_published_ports.moc"
