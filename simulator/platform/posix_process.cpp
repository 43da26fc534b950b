#include "simulator/platform/process.h"

#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <unistd.h>

namespace simulator {
namespace {

constexpr int portion = 4096; // a pipe that polls as writable takes so much without blocking
constexpr int lastPatienceMs = 200;

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 0;
    // Nothing can be done about a full pipe, and a full pipe ends the program just as well.
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

bool watchSignals()
{
    if (::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    for (const int number : {SIGINT, SIGTERM, SIGHUP})
        std::signal(number, onSignal);
    // A log that nobody reads, and a terminal that this program reads from the background, must not stop it.
    for (const int number : {SIGPIPE, SIGTTIN})
        std::signal(number, SIG_IGN);
    return true;
}

} // namespace

void fillStandardStreams()
{
    int descriptor = 0;
    do {
        descriptor = ::open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0)
        ::close(descriptor);
}

struct ByteInput::State
{
    explicit State(int descriptor)
        : fd(descriptor)
        , readable(descriptor, QSocketNotifier::Read)
    {
    }
    const int fd;
    QSocketNotifier readable;
};

ByteInput::ByteInput(int descriptor, QObject *parent)
    : QObject(parent)
    , state(std::make_shared<State>(descriptor))
{
    connect(&state->readable, &QSocketNotifier::activated, this, [this] {
        char buffer[4096];
        const ssize_t count = ::read(state->fd, buffer, sizeof(buffer));
        if (count > 0)
            Q_EMIT received(QByteArray(buffer, int(count)));
        else if (count == 0 || (errno != EAGAIN && errno != EINTR))
            state->readable.setEnabled(false);
    });
}

ByteInput::~ByteInput() = default;

struct ByteOutput::State
{
    explicit State(int descriptor)
        : fd(descriptor)
        , writable(descriptor, QSocketNotifier::Write)
    {
        writable.setEnabled(false);
    }

    bool isWritable(int patienceMs) const
    {
        pollfd entry{fd, POLLOUT, 0};
        return ::poll(&entry, 1, patienceMs) > 0;
    }

    void writeMore()
    {
        while (!waiting.isEmpty() && isWritable(0)) {
            const ssize_t count = ::write(fd, waiting.constData(), size_t(std::min(waiting.size(), portion)));
            if (count > 0) {
                waiting.remove(0, int(count));
            } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
                failed = true;
                waiting.clear();
            } else {
                break;
            }
        }
        writable.setEnabled(!waiting.isEmpty());
    }

    const int fd;
    QSocketNotifier writable;
    QByteArray waiting;
    bool failed = false;
};

ByteOutput::ByteOutput(int descriptor, QObject *parent)
    : QObject(parent)
    , state(std::make_shared<State>(descriptor))
{
    connect(&state->writable, &QSocketNotifier::activated, this, [this] { state->writeMore(); });
}

ByteOutput::~ByteOutput()
{
    while (!state->waiting.isEmpty() && state->isWritable(lastPatienceMs))
        state->writeMore();
}

void ByteOutput::write(const QByteArray &bytes)
{
    state->waiting += bytes;
    state->writeMore();
}

int ByteOutput::waiting() const
{
    return state->waiting.size();
}

bool ByteOutput::hasFailed() const
{
    return state->failed;
}

struct EndRequests::State
{
    std::optional<QSocketNotifier> stopped;
};

EndRequests::EndRequests(QObject *parent)
    : QObject(parent)
    , state(std::make_unique<State>())
{
    if (!watchSignals())
        return;
    state->stopped.emplace(signalPipe[0], QSocketNotifier::Read);
    connect(&*state->stopped, &QSocketNotifier::activated, this, &EndRequests::requested);
}

EndRequests::~EndRequests() = default;

bool EndRequests::areHeard() const
{
    return state->stopped.has_value();
}

} // namespace simulator
