#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

// Hands a result to the caller: queued to the thread of `context` when one
// is given (dropped if it is gone by then), otherwise run at once on the
// cache's queue.
template <class Fn, class... Args>
void gmsDeliver(const QPointer<QObject>& context, bool hasContext, Fn fn, Args... args) {
    if (!fn) return;
    if (!hasContext) {
        fn(args...);
        return;
    }
    QObject* target = context.data();
    if (!target) return;
    QMetaObject::invokeMethod(
        target, [fn = std::move(fn), args...]() mutable { fn(args...); }, Qt::QueuedConnection);
}

// A completion handler with the context it is delivered to.
template <class... Args>
class GMSCallback {
public:
    GMSCallback() = default;
    GMSCallback(QObject* context, std::function<void(Args...)> fn)
        : m_context(context), m_hasContext(context != nullptr), m_fn(std::move(fn)) {}
    void operator()(Args... args) const { gmsDeliver(m_context, m_hasContext, m_fn, args...); }

private:
    QPointer<QObject> m_context;
    bool m_hasContext = false;
    std::function<void(Args...)> m_fn;
};
