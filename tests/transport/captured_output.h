#pragma once

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
        : saved(::dup(STDOUT_FILENO))
    {
        file.open();
        std::fflush(stdout);
        ::dup2(file.handle(), STDOUT_FILENO);
        current = this;
        previous = qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &message) {
            const std::lock_guard lock(current->mutex);
            current->messages << message;
        });
    }
    ~captured_output()
    {
        qInstallMessageHandler(previous);
        std::fputs(standard_output().constData(), stdout); // a failed check's message may be among it
        ::close(saved);
    }
    captured_output(const captured_output &) = delete;
    captured_output &operator=(const captured_output &) = delete;

    // Ends the capture of the standard output and takes what there is.
    QByteArray standard_output()
    {
        std::fflush(stdout);
        ::dup2(saved, STDOUT_FILENO);
        file.seek(0);
        const QByteArray all = file.readAll();
        file.resize(0);
        return all;
    }

    QStringList debug_output() const
    {
        const std::lock_guard lock(mutex);
        return messages;
    }

private:
    static inline captured_output *current = nullptr;
    int saved;
    QTemporaryFile file;
    QtMessageHandler previous = nullptr;
    mutable std::mutex mutex;
    QStringList messages;
};
