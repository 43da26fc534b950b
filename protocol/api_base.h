#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

namespace vs {

// The interface of a protocol back end. No class here implements it: it stands for its message type, which is
// registered by name for those who exchange log messages with such a back end.
class api_base : public QObject
{
    Q_OBJECT

public:
    enum msg_type : int { msg_info, msg_warning, msg_error };

    using QObject::QObject;

    virtual bool start() = 0;
    virtual void stop() = 0;
    virtual void send(const QByteArray &frame) = 0;

Q_SIGNALS:
    void LogMsg(api_base::msg_type type, QString message, QByteArray data);
    void exit();
};

} // namespace vs

Q_DECLARE_METATYPE(vs::api_base::msg_type)
