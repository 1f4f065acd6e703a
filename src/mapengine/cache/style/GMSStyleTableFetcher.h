#pragma once

#include <QByteArray>
#include <QString>

#include <functional>

// The HTTP side of the style table service: one GET of a table's URL. The
// answer may come on any thread; an error text that is not empty means the
// fetch failed.
class GMSStyleTableFetcher {
public:
    virtual ~GMSStyleTableFetcher() = default;
    virtual void fetch(const QString& url, int timeoutMs,
                       std::function<void(const QByteArray& data, const QString& error)> done) = 0;
};

// Offers tables that came with the application; empty: none.
class GMSStyleTableServiceResourceLoader {
public:
    virtual ~GMSStyleTableServiceResourceLoader() = default;
    virtual QByteArray styleTableForURLString(const QString& url) = 0;
};
