#pragma once

#include <QByteArray>
#include <QStringList>
#include <QTemporaryFile>

#include <cstdio>
#include <mutex>
#include <unistd.h>

// What this process writes to its standard output and debug output while the object lives, from any thread.
class captured_output
{
public:
    captured_output()
    {
        file.open();
        std::fflush(stdout);
        saved = ::dup(STDOUT_FILENO);
        ::dup2(file.handle(), STDOUT_FILENO);
        current = this;
        previous = qInstallMessageHandler(&captured_output::store);
    }
    ~captured_output()
    {
        qInstallMessageHandler(previous);
        current = nullptr;
        restore();
    }
    captured_output(const captured_output &) = delete;
    captured_output &operator=(const captured_output &) = delete;

    // Ends the capture of the standard output.
    QByteArray standard_output()
    {
        restore();
        file.seek(0);
        return file.readAll();
    }

    QStringList debug_output() const
    {
        const std::lock_guard lock(mutex);
        return messages;
    }

private:
    static void store(QtMsgType, const QMessageLogContext &, const QString &message)
    {
        const std::lock_guard lock(current->mutex);
        current->messages << message;
    }

    void restore()
    {
        if (saved < 0)
            return;
        std::fflush(stdout);
        ::dup2(saved, STDOUT_FILENO);
        ::close(saved);
        saved = -1;
    }

    static inline captured_output *current = nullptr;
    QTemporaryFile file;
    int saved = -1;
    QtMessageHandler previous = nullptr;
    mutable std::mutex mutex;
    QStringList messages;
};
