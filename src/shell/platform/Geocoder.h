#pragma once

#include "CLLocation.h"

#include <QObject>
#include <QNetworkReply>
#include <QPointer>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkAccessManager;

class QTimer;

// One result of an address search.
struct CLPlacemark {
    std::optional<CLLocation> location;
    QString name;  // the service's "display_name"
};

// Address search over HTTP against a configured service that speaks the
// common open geocoding API:
//   GET <endpoint>/search?q=<address>&format=jsonv2
// answered by a JSON list of objects with "lat" and "lon" as strings and
// "display_name". The completion handler always runs later, on the thread
// that asked (the GUI thread), with either placemarks or an error; "nothing
// found", "no service", "no network", a timeout and an unreadable answer are
// all errors, each with a short message that is also logged.
class Geocoder : public QObject {
    Q_OBJECT
public:
    using CompletionHandler = std::function<void(const QList<CLPlacemark>& placemarks, const std::optional<CLError>& error)>;

    struct Config {
        QUrl endpoint;          // empty: no address search on this machine
        int timeoutMs = 10000;
        QByteArray userAgent = "Zenloft/0.1";
    };

    explicit Geocoder(Config config, QObject* parent = nullptr);
    ~Geocoder() override;

    void setConfig(const Config& config) { config_ = config; }
    Config config() const { return config_; }

    // Starts a search. While one runs, another call fails at once with
    // kCLErrorGeocodeCanceled.
    void geocodeAddressString(const QString& address, CompletionHandler handler);
    void cancelGeocode();
    bool isGeocoding() const { return reply_ != nullptr; }

    // The search URL for an address, or an empty URL without an endpoint.
    static QUrl searchUrl(const QUrl& endpoint, const QString& address);
    // Reads a service answer. Garbage gives an error; an empty list gives
    // an empty result without error.
    static std::optional<QList<CLPlacemark>> parseAnswer(const QByteArray& body, QString* error = nullptr);

    // What a search screen takes from a result: the first placemark's
    // coordinate when there is no error, at least one placemark, and that
    // one has a location; otherwise nothing, and the screen stays as it is.
    static std::optional<CLLocationCoordinate2D> chosenCoordinate(const QList<CLPlacemark>& placemarks,
                                                                  const std::optional<CLError>& error);

private:
    void finish(QList<CLPlacemark> placemarks, std::optional<CLError> error);
    void completeLater(std::optional<CLError> error, CompletionHandler handler);
    void onReplyFinished();

    Config config_;
    QString address_;
    CompletionHandler handler_;
    QPointer<QNetworkReply> reply_;
    QTimer* timeout_ = nullptr;
    bool timedOut_ = false;
};
