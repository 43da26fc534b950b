#include "tests/transport/pseudo_terminal.h"
#include "transport/commdev.h"
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
#include <tuple>

namespace {

constexpr uid_t nobody = 65534;

unsigned mode_of(const QByteArray &path)
{
    struct stat info = {};
    return ::lstat(path.constData(), &info) == 0 ? info.st_mode : 0;
}

QByteArray in_dir(const QByteArray &name)
{
    return published_ports_dir().c_str() + ("/" + name);
}

// What a publisher leaves behind that was killed; the lock is free.
int leave_behind(const QByteArray &target)
{
    QDir().mkpath(QString::fromStdString(published_ports_dir()));
    for (const char *dir : {"/..", "/."})
        ::chmod((published_ports_dir() + dir).c_str(), 0700);
    if (::symlink(target.constData(), in_dir("module").constData()) != 0)
        return -1;
    return ::open(in_dir(".module.lock").constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
}

// "name=path;" of each.
QString listed()
{
    std::string all;
    for (const published_port &port : list_published_ports())
        all += port.name + "=" + port.path + ";";
    return QString::fromStdString(all);
}

} // namespace

// Ports that a program publishes, in a runtime directory of the test's own.
class tst_PublishedPorts : public QObject
{
    Q_OBJECT

    const QTemporaryDir
        fallback; // Qt looks for a runtime directory there if the variable's one can't be used
    std::unique_ptr<QTemporaryDir> runtime;
    const pseudo_terminal module;
    const pseudo_terminal other;
    const std::string device = module.path().toStdString();
    const QString as_module = QStringLiteral("module=%1;").arg(module.path());

private Q_SLOTS:
    void init()
    {
        qputenv("TMPDIR", fallback.path().toLocal8Bit());
        runtime = std::make_unique<QTemporaryDir>();
        qputenv("XDG_RUNTIME_DIR", runtime->path().toLocal8Bit());
    }

    void listedWhileTheyLive()
    {
        QCOMPARE(listed(), QString());
        {
            const port_publication b("b c", other.path().toStdString());
            const port_publication a("a", device);
            QVERIFY2(a.is_published() && b.is_published(), (a.error() + b.error()).c_str());
            QCOMPARE(listed(), QStringLiteral("a=%1;b c=%2;").arg(module.path(), other.path()));
            QVERIFY(S_ISLNK(mode_of(in_dir("b c"))) && S_ISREG(mode_of(in_dir(".b c.lock"))));
            QStringList found;
            UartComm comm;
            connect(&comm, &UartComm::DeviceFound, &comm, [&](const QString &name, const QString &port) {
                found << name + QLatin1Char('=') + port;
            });
            comm.DiscoverDevices();
            QCOMPARE(found.count(QStringLiteral("b c=") + other.path()), 1);
        }
        QCOMPARE(listed(), QString());
        QVERIFY(QDir(QString::fromStdString(published_ports_dir()))
                    .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot));
    }

    // A directory of ours that everybody may enter is closed, and not read before it is.
    void openDirectoryIsClosed()
    {
        const int lock = leave_behind(device.c_str());
        QCOMPARE(::flock(lock, LOCK_EX), 0);
        QCOMPARE(::chmod(published_ports_dir().c_str(), 0777), 0);
        QCOMPARE(listed(), QString());
        const port_publication publication("own", device);
        QVERIFY(publication.is_published());
        QCOMPARE(mode_of(in_dir(".")) & 07777U, 0700U);
        ::close(lock);
    }

    void heldNameIsRefusedAndStaleOneTakenOver()
    {
        ::close(leave_behind(other.path().toLatin1()));
        QCOMPARE(listed(), QString());
        const port_publication holder("module", device);
        QVERIFY2(holder.is_published(), holder.error().c_str());
        {
            const port_publication refused("module", other.path().toStdString());
            QVERIFY(!refused.is_published() && !refused.error().empty());
        }
        QCOMPARE(listed(), as_module);
        QCOMPARE(mode_of(in_dir("..")) & 07777U, 0700U);
    }

    void badNames()
    {
        for (const std::string &name : {std::string(), std::string(".module"), std::string("../../module"),
                                        std::string("mod\0ule", 7), std::string(241, 'x')}) {
            const port_publication publication(name, device);
            QVERIFY2(!publication.is_published() && !publication.error().empty(), name.c_str());
            QCOMPARE(listed(), QString());
        }
    }

    void foreignThingsAreNotListed()
    {
        const QByteArray own = device.c_str();
        const pseudo_terminal foreign;
        const QByteArray their_device = foreign.path().toLatin1();
        // Where the link leads, whether its lock is held, whether it is listed, what of it is another user's.
        const std::tuple<const char *, QByteArray, bool, bool, QByteArray> rows[] = {
            {"good", own, true, true, ""},
            {"nobody holds it", own, false, false, ""},
            {"file", "/etc/passwd", true, false, ""},
            {"directory", "/dev", true, false, ""},
            {"nothing", "/dev/pts/there-is-none", true, false, ""},
            {"relative", "../../module", true, false, ""},
            {"device of another user", their_device, true, false, their_device},
            {"link of another user", own, true, false, "module"},
            {"lock of another user", own, true, false, ".module.lock"},
        };
        for (const auto &[name, target, is_locked, is_listed, theirs] : rows) {
            if (!theirs.isEmpty() && ::geteuid() != 0)
                QSKIP("only root can make files of another user");
            init();
            const int lock = leave_behind(target);
            const QByteArray path = theirs.startsWith('/') ? theirs : in_dir(theirs);
            QVERIFY(theirs.isEmpty() || ::lchown(path.constData(), nobody, gid_t(-1)) == 0);
            QCOMPARE(::flock(lock, is_locked ? LOCK_EX : LOCK_UN), 0);
            QVERIFY2(listed() == (is_listed ? as_module : QString()), name);
            ::close(lock);
        }
    }

    // Left when others could still write in the directory. It keeps nobody from publishing.
    void foreignThingsAreReplaced()
    {
        if (::geteuid() != 0)
            QSKIP("only root can make files of another user");
        // Files, links and directories, in the place of the link and of the lock.
        for (const QByteArray &each :
             QByteArray("f module,l module,d module,f .module.lock,l .module.lock,d .module.lock")
                 .split(',')) {
            init();
            const QByteArray path = in_dir(each.mid(2));
            const int lock = leave_behind("/dev/null");
            ::unlink(path.constData());
            int theirs = -1;
            if (each.startsWith('d'))
                QCOMPARE(::mkdir(path.constData(), 0700), 0);
            else if (each.startsWith('l'))
                QCOMPARE(::symlink("/etc/passwd", path.constData()), 0);
            else
                QVERIFY((theirs = ::open(path.constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0666)) >= 0);
            QCOMPARE(::lchown(path.constData(), nobody, gid_t(-1)), 0);
            QVERIFY(theirs < 0 || ::flock(theirs, LOCK_EX) == 0);
            const port_publication publication("module", device);
            QVERIFY2(publication.is_published(), publication.error().c_str());
            QCOMPARE(listed(), as_module);
            ::close(theirs);
            ::close(lock);
        }
    }

    // Is not used; another one may be found.
    void runtimeDirectoryOfOthers()
    {
        for (const auto &[mode, owner] : {std::pair{0777U, ::geteuid()}, {0700U, nobody}}) {
            if (owner != ::geteuid() && ::geteuid() != 0)
                QSKIP("only root can make files of another user");
            init();
            const QByteArray path = runtime->path().toLocal8Bit();
            QCOMPARE(::chmod(path.constData(), mode), 0);
            QCOMPARE(::chown(path.constData(), owner, gid_t(-1)), 0);
            const port_publication publication("module", device);
            QVERIFY(QDir(runtime->path()).isEmpty());
        }
    }

    // The number of a pseudo-terminal that was published goes to another one.
    void goneModuleIsNotOpened()
    {
        UartComm comm;
        {
            const port_publication publication("module", device);
            comm.DiscoverDevices();
            const std::unique_ptr<CommDev> attached(comm.Open(module.path()));
            QVERIFY(attached);
        }
        QVERIFY(!comm.Open(module.path()));
        const port_publication again("other name", device);
        const std::unique_ptr<CommDev> attached(comm.Open(module.path()));
        QVERIFY(attached);
    }

    void whatIsInTheWayStays()
    {
        const int lock = leave_behind("/dev");
        QVERIFY(QFile::remove(QString::fromLocal8Bit(in_dir("module"))));
        ::close(::open(in_dir("module").constData(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
        QVERIFY(!port_publication("module", device).is_published());
        QVERIFY(S_ISREG(mode_of(in_dir("module"))));
        ::close(lock);
        QVERIFY(QDir().mkdir(QString::fromLocal8Bit(in_dir(".other.lock"))));
        QVERIFY(!port_publication("other", device).error().empty());
        // A link in the directory's own place is not followed.
        const QTemporaryDir elsewhere;
        runtime = std::make_unique<QTemporaryDir>();
        qputenv("XDG_RUNTIME_DIR", runtime->path().toLocal8Bit());
        QVERIFY(QFile::link(elsewhere.path(), runtime->filePath(QStringLiteral("vorsel"))));
        QVERIFY(!port_publication("module", device).error().empty());
        QVERIFY(QDir(elsewhere.path()).isEmpty());
        qputenv("XDG_RUNTIME_DIR", "/dev/null");
        qputenv("TMPDIR", "/dev/null");
        QVERIFY(!port_publication("module", device).error().empty());
        QCOMPARE(listed(), QString());
    }

    // Two folders and the lock want one each while the third folder is open.
    void descriptorsRunOut()
    {
        for (unsigned left = 0; left < 3; ++left) {
            std::unique_ptr<port_publication> publication;
            QString others;
            with_descriptors_left(left, [&] {
                publication = std::make_unique<port_publication>("module", device);
                others = listed();
            });
            QVERIFY(!publication->is_published() && !publication->error().empty() && others.isEmpty());
        }
        QVERIFY(port_publication("module", device).is_published()); // nothing was left in the way
    }

    void listingDoesNotDisturbPublishing()
    {
        std::atomic<bool> enough{false};
        const std::unique_ptr<QThread> lister(QThread::create([&] {
            while (!enough)
                list_published_ports();
        }));
        lister->start();
        int published = 0;
        for (int round = 0; round < 800; ++round) {
            ::close(leave_behind("/dev/null")); // for the lister to look at while it is taken over
            published += port_publication("module", device).is_published() ? 1 : 0;
        }
        enough = true;
        QVERIFY(lister->wait());
        QCOMPARE(published, 800);
    }
};

QTEST_GUILESS_MAIN(tst_PublishedPorts)
#include "tst_published_ports.moc"
