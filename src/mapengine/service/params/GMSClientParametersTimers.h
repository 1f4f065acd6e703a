#pragma once

#include <QObject>
#include <QTimer>

#include <functional>
#include <limits>
#include <unordered_map>
#include <memory>

// One-shot timers for the client parameters' schedule. Tests give a fake
// whose timers fire when the test says so.
class GMSClientParametersTimers {
public:
    using Token = quint64;
    virtual ~GMSClientParametersTimers() = default;
    // Calls `fire` once after `ms` on the owner's thread; 0 never names a timer.
    virtual Token start(qint64 ms, std::function<void()> fire) = 0;
    virtual void cancel(Token token) = 0;
};

// QTimer based, on the thread of `context`.
class GMSQtClientParametersTimers : public GMSClientParametersTimers {
public:
    explicit GMSQtClientParametersTimers(QObject* context) : m_context(context) {}
    Token start(qint64 ms, std::function<void()> fire) override;
    void cancel(Token token) override;

private:
    QObject* m_context;
    Token m_next = 1;
    std::unordered_map<Token, QTimer*> m_timers;
};
