#include "GMSClientParametersTimers.h"

GMSClientParametersTimers::Token GMSQtClientParametersTimers::start(qint64 ms, std::function<void()> fire)
{
    const Token token = m_next++;
    auto* timer = new QTimer(m_context);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::VeryCoarseTimer);
    QObject::connect(timer, &QTimer::timeout, timer, [this, token, timer, fire] {
        m_timers.erase(token);
        timer->deleteLater();
        fire();
    });
    m_timers[token] = timer;
    // QTimer takes an int; three hours fit.
    timer->start(int(std::min<qint64>(ms, std::numeric_limits<int>::max())));
    return token;
}

void GMSQtClientParametersTimers::cancel(Token token)
{
    auto it = m_timers.find(token);
    if (it == m_timers.end())
        return;
    it->second->stop();
    it->second->deleteLater();
    m_timers.erase(it);
}
