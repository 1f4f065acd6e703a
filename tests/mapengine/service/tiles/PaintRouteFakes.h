#pragma once

#include "GMSPaintTransport.h"

#include <QMutex>
#include <QMutexLocker>

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

}  // namespace zltest
