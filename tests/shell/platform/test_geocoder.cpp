#include "Geocoder.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

#include <random>

namespace {

// A one-route HTTP server on loopback that answers as it is told: a status
// and body, or never (status 0, to make the client time out).
class FakeGeocodingServer : public QObject {
public:
    FakeGeocodingServer() {
        server_.listen(QHostAddress::LocalHost, 0);
        connect(&server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection())
                connect(socket, &QTcpSocket::readyRead, this, [this, socket] { onRead(socket); });
        });
    }
    QUrl endpoint() const { return QUrl(QStringLiteral("http://127.0.0.1:%1").arg(server_.serverPort())); }

    int status = 200;
    QByteArray body = "[]";
    QList<QByteArray> requests;  // the head of each request

private:
    void onRead(QTcpSocket* socket) {
        const QByteArray head = socket->property("head").toByteArray() + socket->readAll();
        socket->setProperty("head", head);
        if (!head.contains("\r\n\r\n")) return;
        requests += head.left(head.indexOf("\r\n\r\n"));
        if (!status) return;
        socket->write("HTTP/1.1 " + QByteArray::number(status) + " X\r\nContent-Type: application/json\r\n" +
                      "Content-Length: " + QByteArray::number(body.size()) + "\r\nConnection: close\r\n\r\n" + body);
        socket->disconnectFromHost();
    }
    QTcpServer server_;
};

struct Outcome {
    bool done = false;
    QList<CLPlacemark> placemarks;
    std::optional<CLError> error;
};

Geocoder::CompletionHandler record(Outcome& out) {
    return [&out](const QList<CLPlacemark>& p, const std::optional<CLError>& e) {
        EXPECT_FALSE(out.done) << "completion ran twice";
        out.done = true;
        out.placemarks = p;
        out.error = e;
    };
}

class GeocoderTest : public ::testing::Test {
protected:
    Outcome search(const QString& text) {
        Outcome out;
        geocoder.geocodeAddressString(text, record(out));
        EXPECT_FALSE(out.done);  // never from inside the call
        EXPECT_TRUE(zltest::waitFor([&] { return out.done; }, 10000));
        return out;
    }

    FakeGeocodingServer server;
    Geocoder geocoder{{server.endpoint(), 2000, "Zenloft-test"}};
};

}  // namespace

TEST_F(GeocoderTest, AnswersBecomePlacemarksAndFailuresCarryTheirKindAndAMessage) {
    server.body = R"([
        {"place_id": 1, "lat": "52.2296756", "lon": "21.0122287", "display_name": "Warszawa, Polska"},
        {"lat": "abc", "lon": "1", "display_name": "no position"},
        {"lat": 10.5, "lon": -3.25, "display_name": "plain numbers"}])";
    const Outcome out = search(QStringLiteral("Plac Defilad 1, Warszawa"));
    ASSERT_FALSE(out.error) << qPrintable(out.error->localizedDescription);
    ASSERT_EQ(out.placemarks.size(), 3);
    QStringList found;
    for (const CLPlacemark& p : out.placemarks) {
        const auto c = p.location ? p.location->coordinate : CLLocationCoordinate2D{};
        found << (p.location ? QStringLiteral("%1,%2 ").arg(c.latitude, 0, 'g', 9).arg(c.longitude, 0, 'g', 9) : "") + p.name;
    }
    EXPECT_EQ(found, (QStringList{"52.2296756,21.0122287 Warszawa, Polska", "no position", "10.5,-3.25 plain numbers"}))
        << found.join('|').toStdString();
    // The first placemark decides, even one without a position.
    EXPECT_EQ(Geocoder::chosenCoordinate(out.placemarks, out.error), out.placemarks[0].location->coordinate);
    EXPECT_FALSE(Geocoder::chosenCoordinate(out.placemarks.mid(1), out.error));

    ASSERT_EQ(server.requests.size(), 1);
    EXPECT_EQ(server.requests[0].split('\r').first(),
              "GET /search?q=Plac%20Defilad%201%2C%20Warszawa&format=jsonv2 HTTP/1.1");
    EXPECT_TRUE(server.requests[0].contains("User-Agent: Zenloft-test"));

    QTcpServer probe;  // a port nobody listens on
    probe.listen(QHostAddress::LocalHost, 0);
    const QUrl closed(QStringLiteral("http://127.0.0.1:%1").arg(probe.serverPort()));
    probe.close();
    // status (0: the server stays silent), body, endpoint, error code, message
    for (const auto& [status, body, endpoint, code, message] :
         {std::tuple<int, QByteArray, QUrl, int, QString>{200, "[]", server.endpoint(), kCLErrorGeocodeFoundNoResult,
                                                          "No place found for \"x y\""},
          {200, "<html>busy</html>", server.endpoint(), kCLErrorNetwork, "unreadable"},
          {200, "{\"lat\":\"1\"}", server.endpoint(), kCLErrorNetwork, "unreadable"},
          {503, "[]", server.endpoint(), kCLErrorNetwork, "The address service failed"},
          {0, "", server.endpoint(), kCLErrorNetwork, "in time"},
          {200, "[]", QUrl(), kCLErrorNetwork, ""},
          {200, "[]", closed, kCLErrorNetwork, ""}}) {
        SCOPED_TRACE(body.constData());
        geocoder.setConfig({endpoint, status ? 2000 : 150, "Zenloft-test"});
        server.status = status;
        server.body = body;
        zltest::LogCapture log;
        const Outcome out = search(QStringLiteral("x y"));
        ASSERT_TRUE(out.error);
        EXPECT_EQ(out.error->code, code);
        EXPECT_TRUE(out.error->localizedDescription.contains(message)) << qPrintable(out.error->localizedDescription);
        EXPECT_TRUE(out.placemarks.isEmpty());
        EXPECT_FALSE(geocoder.isGeocoding());
        if (code == kCLErrorGeocodeFoundNoResult) EXPECT_TRUE(log.contains("No place found"));
        if (endpoint.isEmpty()) EXPECT_TRUE(log.contains("no address service is configured") && log.warnings().isEmpty());
    }
}

TEST_F(GeocoderTest, OneSearchAtATimeCancelAndADestroyedGeocoderNeverCallsBack) {
    server.status = 0;
    Outcome first, second;
    geocoder.geocodeAddressString(QStringLiteral("a"), record(first));
    EXPECT_TRUE(geocoder.isGeocoding());
    geocoder.geocodeAddressString(QStringLiteral("b"), record(second));
    ASSERT_TRUE(zltest::waitFor([&] { return second.done; }));
    EXPECT_EQ(second.error->code, kCLErrorGeocodeCanceled);
    EXPECT_FALSE(first.done);
    geocoder.cancelGeocode();
    ASSERT_TRUE(first.done);
    EXPECT_EQ(first.error->code, kCLErrorGeocodeCanceled);
    EXPECT_FALSE(geocoder.isGeocoding());

    // A geocoder destroyed while searching never calls back.
    bool called = false;
    {
        Geocoder local({server.endpoint(), 2000, "x"});
        local.geocodeAddressString(QStringLiteral("gone"), [&](auto&&, auto&&) { called = true; });
        ASSERT_TRUE(zltest::waitFor([&] { return server.requests.join().contains("q=gone"); }));
    }
    {
        Geocoder local({QUrl(), 2000, "x"});
        local.geocodeAddressString(QStringLiteral("a"), [&](auto&&, auto&&) { called = true; });
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(called);
}

TEST(GeocoderParse, RandomAndTruncatedAnswersNeverCrash) {
    const QByteArray good = R"([{"lat":"52.1","lon":"21.2","display_name":"A"},{"lat":"-91","lon":"0"}])";
    auto all = Geocoder::parseAnswer(good);
    ASSERT_TRUE(all);
    ASSERT_EQ(all->size(), 2);
    EXPECT_FALSE((*all)[1].location);  // out of range
    for (qsizetype n = 0; n < good.size(); ++n) EXPECT_FALSE(Geocoder::parseAnswer(good.left(n))) << n;
    std::mt19937 rng(8);
    for (int round = 0; round < 500; ++round) {
        QByteArray mutated = good;
        for (int e = 0; e < 3; ++e) mutated[qsizetype(rng() % mutated.size())] = char(rng() % 256);
        if (auto result = Geocoder::parseAnswer(mutated))
            for (const auto& p : *result)
                if (p.location) EXPECT_TRUE(CLLocationCoordinate2DIsValid(p.location->coordinate));
    }
}

TEST(GeocoderParse, SearchUrlKeepsTheEndpointsPathAndEncodesTheText) {
    for (auto [endpoint, text, url] :
         {std::tuple{"https://geo.example/api", "a b", "https://geo.example/api/search?q=a%20b&format=jsonv2"},
          {"http://h/nominatim/", "Łódź & a+b/ü?",
           "http://h/nominatim/search?q=%C5%81%C3%B3d%C5%BA%20%26%20a%2Bb%2F%C3%BC%3F&format=jsonv2"}})
        EXPECT_EQ(Geocoder::searchUrl(QUrl(endpoint), QString::fromUtf8(text)).toString(QUrl::FullyEncoded), url);
}
