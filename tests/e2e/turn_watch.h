#pragma once

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>

// The longest time between two turns of the event loop.
class TurnWatch : public QObject
{
public:
    TurnWatch()
    {
        connect(&m_timer, &QTimer::timeout, this, &TurnWatch::turn);
        m_timer.start(5);
    }
    void restart()
    {
        m_worst = 0;
        m_since.start();
    }
    void turn() { m_worst = std::max(m_worst, m_since.restart()); }
    qint64 worst()
    {
        turn();
        return m_worst;
    }

private:
    QTimer m_timer;
    QElapsedTimer m_since;
    qint64 m_worst = 0;
};
