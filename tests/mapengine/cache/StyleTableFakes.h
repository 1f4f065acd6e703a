#pragma once

#include "GMSStyleTableEpochResources.h"
#include "GMSStyleTableFetcher.h"
#include "GMSStyleTableService.h"
#include "CacheTestHelpers.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QSet>

#include <atomic>
#include <functional>
#include <memory>
#include <vector>

namespace cachetest {

// Table addresses as the parameters name them: the query is part of the key.
inline const QString kUrlA = QStringLiteral("https://maps.example/styles/a?epoch=2");
inline const QString kUrlB = QStringLiteral("https://maps.example/styles/b?epoch=2");
inline const QString kUrlC = QStringLiteral("https://maps.example/styles/c");

// Answers from a script per URL (set before the service runs); a held URL
// keeps its callers waiting until release(). Counts every fetch.
class FakeFetcher : public GMSStyleTableFetcher {
public:
    struct Answer {
        QByteArray data;
        QString error;
    };
    QHash<QString, QList<Answer>> script;
    QSet<QString> held;
    std::atomic<int> lastTimeoutMs{0};

    void release(const QString& url) {
        QMutexLocker l(&m_lock);
        held.remove(url);
        const auto waiting = m_waiting.take(url);
        l.unlock();
        for (const auto& w : waiting) w();
    }
    int fetches(const QString& url) const {
        QMutexLocker l(&m_lock);
        return m_fetches.value(url);
    }
    void fetch(const QString& url, int timeoutMs,
               std::function<void(const QByteArray&, const QString&)> done) override {
        QMutexLocker l(&m_lock);
        ++m_fetches[url];
        lastTimeoutMs = timeoutMs;
        const Answer a = script[url].isEmpty() ? Answer{{}, "no answer scripted"} : script[url].takeFirst();
        auto answer = [done, a] { done(a.data, a.error); };
        if (held.contains(url))
            return m_waiting[url].append(answer);
        l.unlock();
        answer();
    }

private:
    mutable QMutex m_lock;
    QHash<QString, QList<std::function<void()>>> m_waiting;
    QHash<QString, int> m_fetches;
};

inline GMSStyleTableService::Table loadTable(GMSStyleTableService& s, const QString& url) {
    return await<GMSStyleTableService::Table>([&](QObject* c, auto fn) { s.loadStyleTable({url, 1, 0}, c, fn); });
}

// The active and the stable epoch, and whether tiles with global styles of
// epochs 1 and 2 are stale.
inline QList<int> epochs(GMSStyleTableService& s) {
    return {s.activeEpoch(), s.stableActiveEpoch(), s.isTileEpochStale(true, 1), s.isTileEpochStale(true, 2)};
}

// The data of a loaded table, or "none".
inline QByteArray dataOf(const GMSStyleTableService::Table& t) { return t ? t->data() : QByteArray("none"); }

// Client parameters as the style table service sees them, set by the test;
// counts the reads and the refetches asked for.
class FakeStyleParameters : public GMSStyleTableClientParameters {
public:
    void set(GMSStyleTableEpochResources r) {
        QMutexLocker l(&m_lock);
        m_current = std::move(r);
    }
    GMSStyleTableEpochResources currentEpochResources() const override {
        QMutexLocker l(&m_lock);
        ++reads;
        return m_current;
    }
    void refetchClientParametersExpectingPaintEpoch(qint32 epoch) override {
        QMutexLocker l(&m_lock);
        refetches = {refetches.first + 1, epoch};
    }
    mutable std::atomic<int> reads{0};
    std::pair<int, qint32> refetches{0, 0};  // how many, and the epoch expected by the last

private:
    mutable QMutex m_lock;
    GMSStyleTableEpochResources m_current;
};

// A test with a caches folder, a scripted fetcher and parameters; services
// made by make() live until close() or the end of the test.
class StyleTableTest : public ::testing::Test {
protected:
    GMSStyleTableService& make(QList<int> mapStyles = {0},
                               std::shared_ptr<GMSStyleTableServiceResourceLoader> loader = {},
                               GMSLazyMultiZoomStyleTable::Decoder decoder = &GMSLazyMultiZoomStyleTable::tableFromData) {
        m_services.push_back(std::make_unique<GMSStyleTableService>(fetcher, objectsDescriptor(root.path()),
                                                                    std::move(mapStyles), loader, decoder));
        return *m_services.back();
    }
    void close() { m_services.clear(); }

    QTemporaryDir root;
    std::shared_ptr<FakeFetcher> fetcher = std::make_shared<FakeFetcher>();
    std::shared_ptr<FakeStyleParameters> params = std::make_shared<FakeStyleParameters>();

private:
    std::vector<std::unique_ptr<GMSStyleTableService>> m_services;
};

}  // namespace cachetest
