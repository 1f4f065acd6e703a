#pragma once

#include "GMSPaintTransport.h"

#include <QMutex>
#include <QMutexLocker>

#include <functional>
#include <vector>

namespace zltest {

// Catches the paint route's POSTs; the test answers them.
class FakePaintTransport : public GMSPaintTransport {
public:
    struct Post {
        QUrl url;
        QByteArray body;
        Headers headers;
        int timeoutMs = 0;
        Done done;
        QByteArray header(const QByteArray& name) const
        {
            for (const auto& [n, v] : headers)
                if (n == name)
                    return v;
            return {};
        }
    };
    void post(const QUrl& url, const QByteArray& body, const Headers& headers, int timeoutMs, Done done) override
    {
        QMutexLocker l(&mutex);
        posts.push_back({url, body, headers, timeoutMs, std::move(done)});
    }
    QMutex mutex;
    std::vector<Post> posts;
};

// Holds delayed work until the test lets it run.
struct FakeScheduler {
    struct Item {
        int delayMs;
        std::function<void()> work;
    };
    std::function<void(int, std::function<void()>)> scheduler()
    {
        return [this](int ms, std::function<void()> work) { items.push_back({ms, std::move(work)}); };
    }
    void runAll()
    {
        auto due = std::move(items);
        items.clear();
        for (auto& i : due)
            i.work();
    }
    std::vector<Item> items;
};

}  // namespace zltest
