#include "simulator/program/standardstreams.h"

#include <QFile>
#include <QProcess>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <fcntl.h>
#include <mutex>
#include <thread>
#include <unistd.h>

namespace simulator {
namespace {

using namespace std::chrono_literals;

constexpr int maxLine = 8192; // bytes
constexpr int maxWaitingLines = 64;

volatile std::sig_atomic_t endSignalCame = 0;

void onEndSignal(int)
{
    endSignalCame = 1;
}

} // namespace

bool mayRetry()
{
    const int error = errno;
    if (error == EAGAIN)
        std::this_thread::sleep_for(10ms);
    return error == EAGAIN || error == EINTR;
}

void fillStandardStreams()
{
    const QByteArray null = QFile::encodeName(QProcess::nullDevice());
    int descriptor = 0;
    do {
        descriptor = ::open(null.constData(), O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        ::close(descriptor);
}

struct StandardInput::Reader
{
    void readAll()
    {
        char buffer[4096];
        int count = 0;
        while ((count = int(::read(STDIN_FILENO, buffer, sizeof(buffer)))) > 0 || (count < 0 && mayRetry())) {
            if (count > 0)
                cutLines(QByteArray(buffer, count));
        }
    }

    void cutLines(const QByteArray &bytes)
    {
        unfinished += bytes;
        int start = 0;
        for (int end = unfinished.indexOf('\n'); end >= 0; end = unfinished.indexOf('\n', start)) {
            deliver(unfinished.mid(start, end - start));
            start = end + 1;
        }
        unfinished.remove(0, start);
        unfinished.truncate(maxLine + 1); // enough to recognise a line that is too long
    }

    void deliver(const QByteArray &line)
    {
        std::unique_lock<std::mutex> guard(mutex);
        taken.wait(guard, [this] { return waitingLines < maxWaitingLines || !receiver; });
        if (!receiver)
            return;
        ++waitingLines;
        const auto signal = line.size() > maxLine ? &StandardInput::lineDropped : &StandardInput::lineRead;
        const QString text = QString::fromUtf8(line.left(maxLine)).trimmed();
        QMetaObject::invokeMethod(
            receiver,
            [this, signal, text] {
                noteTaken();
                Q_EMIT(receiver->*signal)(text);
            },
            Qt::QueuedConnection);
    }

    void noteTaken()
    {
        const std::lock_guard<std::mutex> guard(mutex);
        --waitingLines;
        taken.notify_all();
    }

    QByteArray unfinished; // used by the thread only
    std::mutex mutex;      // guards the members below
    std::condition_variable taken;
    int waitingLines = 0; // posted and not yet taken; bounded, so that a flood does not fill the memory
    StandardInput *receiver;
};

StandardInput::StandardInput(QObject *parent)
    : QObject(parent)
    , reader(std::make_shared<Reader>())
{
    reader->receiver = this;
    std::thread([shared = reader] { shared->readAll(); }).detach();
}

StandardInput::~StandardInput()
{
    const std::lock_guard<std::mutex> guard(reader->mutex);
    reader->receiver = nullptr;
    reader->taken.notify_all();
}

void watchEndSignals()
{
    std::signal(SIGINT, onEndSignal);
    std::signal(SIGTERM, onEndSignal);
#ifdef SIGBREAK
    std::signal(SIGBREAK, onEndSignal);
#else
    std::signal(SIGHUP, onEndSignal);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGTTIN, SIG_IGN);
#endif
}

bool endIsRequested()
{
    return endSignalCame != 0;
}

} // namespace simulator
