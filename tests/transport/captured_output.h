#pragma once

#include <QStringList>
#include <QTemporaryFile>

#include <cstdio>
#include <mutex>
#include <unistd.h>

// What this process writes to its standard output and debug output while the object lives, from any thread.
class CapturedOutput
{
public:
    CapturedOutput()
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
    ~CapturedOutput()
    {
        qInstallMessageHandler(previous);
        std::fputs(standardOutput().constData(), stdout); // a failed check's message may be among it
        ::close(saved);
    }
    CapturedOutput(const CapturedOutput &) = delete;
    CapturedOutput &operator=(const CapturedOutput &) = delete;

    // Ends the capture of the standard output and takes what there is.
    QByteArray standardOutput()
    {
        std::fflush(stdout);
        ::dup2(saved, STDOUT_FILENO);
        file.seek(0);
        const QByteArray all = file.readAll();
        file.resize(0);
        return all;
    }

    QStringList debugOutput() const
    {
        const std::lock_guard lock(mutex);
        return messages;
    }

private:
    static inline CapturedOutput *current = nullptr;
    int saved;
    QTemporaryFile file;
    QtMessageHandler previous = nullptr;
    mutable std::mutex mutex;
    QStringList messages;
};
