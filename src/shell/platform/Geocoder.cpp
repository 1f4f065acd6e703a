#include "Geocoder.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QNetworkRequest>
#include <QTimer>

#include <cmath>

namespace {

// One network access object per thread that searches (in practice the GUI
// thread); it lives as long as the thread.
QNetworkAccessManager* network() {
    static thread_local QNetworkAccessManager* nam = nullptr;
    if (!nam)
        nam = new QNetworkAccessManager();
    return nam;
}

// Answers larger than this are not an address list.
constexpr qint64 kMaxAnswerBytes = 4 * 1024 * 1024;

}  // namespace

Geocoder::Geocoder(Config config, QObject* parent) : QObject(parent), config_(std::move(config)) {}

Geocoder::~Geocoder() {
    if (reply_) {
        reply_->disconnect(this);
        reply_->abort();
        reply_->deleteLater();
    }
}

QUrl Geocoder::searchUrl(const QUrl& endpoint, const QString& address) {
    if (endpoint.isEmpty() || !endpoint.isValid())
        return {};
    QUrl url = endpoint;
    QString path = url.path();
    if (!path.endsWith(QLatin1Char('/')))
        path += QLatin1Char('/');
    url.setPath(path + QStringLiteral("search"));
    // Everything but the unreserved characters is escaped, '+' and '&'
    // included, so that the service reads back exactly the text typed.
    url.setQuery(QStringLiteral("q=") + QString::fromLatin1(QUrl::toPercentEncoding(address)) +
                     QStringLiteral("&format=jsonv2"),
                 QUrl::StrictMode);
    return url;
}

std::optional<QList<CLPlacemark>> Geocoder::parseAnswer(const QByteArray& body, QString* error) {
    QJsonParseError parseError;
    const QJsonDocument doc = QJsonDocument::fromJson(body, &parseError);
    if (parseError.error != QJsonParseError::NoError || !doc.isArray()) {
        if (error)
            *error = QStringLiteral("The address service sent an unreadable answer");
        return std::nullopt;
    }
    QList<CLPlacemark> result;
    for (const QJsonValue& v : doc.array()) {
        const QJsonObject o = v.toObject();
        CLPlacemark placemark;
        placemark.name = o.value(QLatin1String("display_name")).toString();
        // The API sends numbers as strings; take plain numbers as well.
        auto number = [&o](const char* key, double* out) {
            const QJsonValue value = o.value(QLatin1String(key));
            bool ok = value.isDouble();
            double d = value.toDouble();
            if (value.isString())
                d = value.toString().trimmed().toDouble(&ok);
            *out = d;
            return ok && std::isfinite(d);
        };
        double lat = 0.0, lon = 0.0;
        if (number("lat", &lat) && number("lon", &lon) && CLLocationCoordinate2DIsValid({lat, lon})) {
            CLLocation loc;
            loc.coordinate = {lat, lon};
            placemark.location = loc;
        }
        result.append(placemark);
    }
    return result;
}

void Geocoder::completeLater(std::optional<CLError> error, CompletionHandler handler) {
    QPointer<Geocoder> self(this);
    QMetaObject::invokeMethod(this, [self, error, handler = std::move(handler)] {
        if (self && handler)
            handler({}, error);
    }, Qt::QueuedConnection);
}

void Geocoder::geocodeAddressString(const QString& address, CompletionHandler handler) {
    if (reply_) {
        completeLater(CLError{kCLErrorGeocodeCanceled, QStringLiteral("An address search is already running")},
                      std::move(handler));
        return;
    }
    const QUrl url = searchUrl(config_.endpoint, address.trimmed());
    if (url.isEmpty()) {
        qInfo("Address search unavailable: no address service is configured");
        completeLater(CLError{kCLErrorNetwork, QStringLiteral("No address service is configured")},
                      std::move(handler));
        return;
    }
    address_ = address;
    handler_ = std::move(handler);
    timedOut_ = false;
    QNetworkRequest request(url);
    request.setHeader(QNetworkRequest::UserAgentHeader, config_.userAgent);
    request.setRawHeader("Accept", "application/json");
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::NoLessSafeRedirectPolicy);
    reply_ = network()->get(request);
    connect(reply_, &QNetworkReply::finished, this, &Geocoder::onReplyFinished);
    connect(reply_, &QNetworkReply::downloadProgress, this, [this](qint64 received, qint64) {
        if (received > kMaxAnswerBytes && reply_)
            reply_->abort();
    });
    if (!timeout_) {
        timeout_ = new QTimer(this);
        timeout_->setSingleShot(true);
        connect(timeout_, &QTimer::timeout, this, [this] {
            if (!reply_)
                return;
            timedOut_ = true;
            reply_->abort();  // finished() follows
        });
    }
    timeout_->start(std::max(1, config_.timeoutMs));
}

void Geocoder::cancelGeocode() {
    if (!reply_)
        return;
    QNetworkReply* reply = reply_;
    reply_ = nullptr;
    reply->disconnect(this);
    reply->abort();
    reply->deleteLater();
    timeout_->stop();
    finish({}, CLError{kCLErrorGeocodeCanceled, QStringLiteral("Canceled")});
}

void Geocoder::onReplyFinished() {
    QNetworkReply* reply = reply_;
    reply_ = nullptr;
    if (!reply)
        return;
    reply->deleteLater();
    timeout_->stop();

    if (timedOut_) {
        finish({}, CLError{kCLErrorNetwork, QStringLiteral("The address service did not answer in time")});
        return;
    }
    if (reply->error() != QNetworkReply::NoError) {
        finish({}, CLError{kCLErrorNetwork,
                           QStringLiteral("The address service failed: %1").arg(reply->errorString())});
        return;
    }
    QString error;
    auto placemarks = parseAnswer(reply->readAll(), &error);
    if (!placemarks) {
        finish({}, CLError{kCLErrorNetwork, error});
        return;
    }
    if (placemarks->isEmpty()) {
        finish({}, CLError{kCLErrorGeocodeFoundNoResult, QStringLiteral("No place found for \"%1\"").arg(address_)});
        return;
    }
    finish(*placemarks, std::nullopt);
}

void Geocoder::finish(QList<CLPlacemark> placemarks, std::optional<CLError> error) {
    if (error)
        qInfo("Address search: %s", qPrintable(error->localizedDescription));
    CompletionHandler handler = std::move(handler_);
    handler_ = nullptr;
    if (handler)
        handler(placemarks, error);
}

std::optional<CLLocationCoordinate2D> Geocoder::chosenCoordinate(const QList<CLPlacemark>& placemarks,
                                                                 const std::optional<CLError>& error) {
    if (error || placemarks.isEmpty())
        return std::nullopt;
    if (!placemarks.first().location) {
        qInfo("Address search: the first place found has no position");
        return std::nullopt;
    }
    return placemarks.first().location->coordinate;
}
