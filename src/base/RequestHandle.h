#pragma once

#include <QObject>
#include <QPointer>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace zl {

// What a requester holds while it waits for an answer. Letting it go
// (destruction, reset() or a move over it) cancels the request: its cancel
// action runs once. A handle whose request already ended cancels nothing
// harmful; the action must allow that. Move-only.
class RequestHandle {
public:
    RequestHandle() = default;
    explicit RequestHandle(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
    RequestHandle(RequestHandle&& other) noexcept : cancel_(std::exchange(other.cancel_, nullptr)) {}
    RequestHandle& operator=(RequestHandle&& other) noexcept
    {
        if (this != &other) {
            reset();
            cancel_ = std::exchange(other.cancel_, nullptr);
        }
        return *this;
    }
    RequestHandle(const RequestHandle&) = delete;
    RequestHandle& operator=(const RequestHandle&) = delete;
    ~RequestHandle() { reset(); }

    void reset()
    {
        if (auto cancel = std::exchange(cancel_, nullptr))
            cancel();
    }
    explicit operator bool() const { return bool(cancel_); }

private:
    std::function<void()> cancel_;
};

// The way back to a requester: answers are posted to the thread of its
// context object and run there only while its handle is held. Because the
// handle is let go on that same thread, the check and the call never race:
// once the handle is gone, no answer reaches the requester, however late the
// worker that made it. Copies share one state; the answer may come more than
// once (a stand-in before the final one). The context must outlive the
// handle, or the handle be let go first.
template <typename... Args>
class Answer {
public:
    Answer(QObject* context, std::function<void(Args...)> fn)
        : state_(std::make_shared<State>(context, std::move(fn)))
    {
    }

    // The requester's handle; cancels every copy of this answer, then runs
    // the producer's own cancel action, if any.
    RequestHandle handle(std::function<void()> alsoCancel = {}) const
    {
        return RequestHandle([state = state_, alsoCancel = std::move(alsoCancel)] {
            {
                // Waits for a post under way: after this nothing is posted any more.
                std::lock_guard lock(state->mutex);
                state->cancelled = true;
            }
            if (alsoCancel)
                alsoCancel();
        });
    }
    // True once the requester let go: work for it may stop early.
    bool cancelled() const { return state_->cancelled; }

    // Callable from any thread.
    void operator()(Args... args) const
    {
        std::lock_guard lock(state_->mutex);
        if (state_->cancelled || !state_->context)
            return;
        QMetaObject::invokeMethod(
            state_->context.data(),
            [state = state_, args...] {
                if (!state->cancelled)
                    state->fn(args...);
            },
            Qt::QueuedConnection);
    }

private:
    struct State {
        State(QObject* c, std::function<void(Args...)> f) : context(c), fn(std::move(f)) {}
        QPointer<QObject> context;
        std::function<void(Args...)> fn;
        std::atomic<bool> cancelled{false};
        std::mutex mutex;  // between a post and the cancel, on two threads
    };
    std::shared_ptr<State> state_;
};

}  // namespace zl
