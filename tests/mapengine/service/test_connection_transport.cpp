#include "ConnectionTestSupport.h"
#include "FakeDashServer.h"
#include "testsupport.h"

#include <zlib.h>

#include <algorithm>
#include <atomic>

#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace zenloft::wire;
using zltest::FakeDashServer;
using zltest::Outcome;
using zltest::tileRequest;

namespace {

std::string gzip(const std::string& raw)
{
    z_stream z{};
    deflateInit2(&z, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::string out(compressBound(static_cast<uLong>(raw.size())) + 64, '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(raw.data()));
    z.avail_in = static_cast<uInt>(raw.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = static_cast<uInt>(out.size());
    deflate(&z, Z_FINISH);
    out.resize(z.total_out);
    deflateEnd(&z);
    return out;
}

std::unique_ptr<GMSDASHConnection> connect(const FakeDashServer& server)
{
    GMSDASHClientDescription d;
    d.apiKey = "KEY";
    return zltest::connection(server.url(), d, std::make_shared<GMSDASHClientState>(nullptr));
}

// One tile request per outcome, numbered by its place.
std::vector<std::shared_ptr<GMSDASHProtobufferRequest>> requestsFor(std::vector<Outcome>& outcomes)
{
    std::vector<std::shared_ptr<GMSDASHProtobufferRequest>> requests;
    for (std::size_t i = 0; i < outcomes.size(); ++i)
        requests.push_back(tileRequest(outcomes[i], static_cast<int>(i)));
    return requests;
}

bool allDone(const std::vector<Outcome>& outcomes)
{
    return std::all_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.done >= 1; });
}

}  // namespace

// Requests wait for resumeSending(), then go in bodies of at most 50; without
// a cookie the first body goes alone and only it asks for one.
TEST(Transport, SuspendedUntilResumedThenSentInBatchesOfFifty)
{
    FakeDashServer server;
    auto conn = connect(server);
    std::vector<Outcome> outcomes(120);
    const auto requests = requestsFor(outcomes);
    for (const auto& r : requests)
        conn->sendRequest(r);
    EXPECT_EQ(conn->pendingRequestCount(), 120);
    EXPECT_EQ(server.postCount(), 0);
    QSignalSpy starting(conn.get(), &GMSDASHConnection::DASHConnectionStartingSendNotification);
    conn->resumeSending();
    ASSERT_TRUE(zltest::waitFor([&] { return allDone(outcomes); }));
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        EXPECT_FALSE(outcomes[i].error.has_value()) << i;
        EXPECT_EQ(outcomes[i].payload, requests[i]->message().SerializeAsString()) << i;
    }
    ASSERT_EQ(starting.count(), 3);
    EXPECT_TRUE(starting.at(0).at(0).toMap().contains("groupID"));
    int asking = 0;
    std::vector<int> tilesPerBody;
    for (const auto& body : server.bodies()) {
        DashInput in(body, true);
        readRequestHeader(in);
        int tiles = 0;
        while (!in.atEnd()) {
            const auto id = in.readUInt16();
            if (id != kDashUserCookieRequest)
                in.readLengthPrefixed();
            tiles += id == kDashMapTileRequest;
            asking += id == kDashUserCookieRequest;
        }
        tilesPerBody.push_back(tiles);
    }
    std::sort(tilesPerBody.begin(), tilesPerBody.end());  // the last two bodies may arrive in either order
    EXPECT_EQ(tilesPerBody, (std::vector<int>{20, 50, 50}));
    EXPECT_EQ(asking, 1);
    // The cookie and cohort came back and are kept.
    EXPECT_EQ(conn->clientState()->userCookie(), 77u);
    EXPECT_EQ(conn->clientState()->snapshot().cohort, "test-cohort");
    EXPECT_GT(conn->outgoingCount(), 0);
    EXPECT_GT(conn->incomingCount(), 0);
}

// What the server sends back decides each of two requests' outcome: an HTTP
// failure, garbage, a wrong content type, a gzip body, a spoilt message.
TEST(Transport, EachAnswerKindEndsEachRequestOnce)
{
    const auto spoilFirstTile = [](std::string answer) {
        // The first tile answer's message bytes (its length kept).
        answer[answer.find(std::string("\x00\x6c", 2)) + 2 + 4] = '\xff';
        return answer;
    };
    const struct {
        const char* what;
        FakeDashServer::Handler handler;
        std::vector<std::string> outcomes;  // "ok" or "domain:code"
    } cases[] = {
        {"503",
         [](const httplib::Request&, httplib::Response& res) {
             res.status = 503;
             res.set_content("busy", "text/plain");
         },
         {"GMSDASHHTTPErrorDomain:503", "GMSDASHHTTPErrorDomain:503"}},
        {"garbage",
         [](const httplib::Request&, httplib::Response& res) {
             res.set_content(std::string("\x00\x18garbage-garbage", 17), "application/binary");
         },
         {"GMSDASHConnectionErrorDomain:100", "GMSDASHConnectionErrorDomain:100"}},
        {"wrong type",
         [](const httplib::Request& req, httplib::Response& res) {
             res.set_content(FakeDashServer::echoAnswer(req.body), "text/html");
         },
         {"GMSDASHConnectionErrorDomain:100", "GMSDASHConnectionErrorDomain:100"}},
        {"gzip",
         [](const httplib::Request& req, httplib::Response& res) {
             EXPECT_EQ(req.get_header_value("Accept-Encoding"), "gzip");
             EXPECT_EQ(req.get_header_value("Content-Type"), "application/binary");
             EXPECT_NE(req.get_header_value("User-Agent").find("(gzip)"), std::string::npos);
             res.set_header("Content-Encoding", "gzip");
             res.set_content(gzip(FakeDashServer::echoAnswer(req.body)), "application/binary");
         },
         {"ok", "ok"}},
        {"spoilt message",
         [&](const httplib::Request& req, httplib::Response& res) {
             res.set_content(spoilFirstTile(FakeDashServer::echoAnswer(req.body)), "application/binary");
         },
         {"GMSDASHConnectionErrorDomain:101", "ok"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        FakeDashServer server(c.handler);
        auto conn = connect(server);
        std::vector<Outcome> outcomes(2);
        const auto a = tileRequest(outcomes[0], 1), b = tileRequest(outcomes[1], 2);
        conn->sendRequest(a);
        conn->sendRequest(b);
        conn->resumeSending();
        ASSERT_TRUE(zltest::waitFor([&] { return allDone(outcomes); }));
        for (std::size_t i = 0; i < 2; ++i) {
            const Outcome& o = outcomes[i];
            EXPECT_EQ(o.done, 1);
            EXPECT_EQ(o.error ? o.error->domain.toStdString() + ":" + std::to_string(o.error->code) : "ok", c.outcomes[i]);
            if (!o.error) {
                EXPECT_EQ(o.payload, (i ? b : a)->message().SerializeAsString());
            }
        }
        if (outcomes[0].error && outcomes[0].error->code == 503) {
            EXPECT_EQ(outcomes[0].error->data, QByteArray("busy"));
        }
    }
}

TEST(Transport, StalledAnswerTimesOutAfterEarlyRequestsFinishedAndClosingEndsItOnce)
{
    FakeDashServer server([&server](const httplib::Request& req, httplib::Response& res) {
        const std::string answer = FakeDashServer::echoAnswer(req.body);
        // Send all but the last answer, then stall until released.
        const std::size_t cut = answer.size() - 10;
        res.set_chunked_content_provider("application/binary", [answer, cut, &server](size_t offset, httplib::DataSink& sink) {
            if (offset == 0) {
                sink.write(answer.data(), cut);
                return true;
            }
            server.waitUntilReleased();
            return false;
        });
    });
    auto conn = connect(server);
    conn->setBaseTimeout(0.5);
    Outcome a, b;
    conn->sendRequest(tileRequest(a, 1));
    conn->sendRequest(tileRequest(b, 2));
    conn->resumeSending();
    ASSERT_TRUE(zltest::waitFor([&] { return a.done > 0 && b.done > 0; }, 10000));
    EXPECT_FALSE(a.error.has_value());
    ASSERT_TRUE(b.error);
    EXPECT_EQ(b.error->domain, kGMSDASHURLErrorDomain);
    EXPECT_EQ(b.error->code, -1001);

    // Closing the connection ends a request still in flight, once.
    Outcome c;
    const int posts = server.postCount();
    {
        auto closing = connect(server);
        closing->resumeSending();
        closing->sendRequest(tileRequest(c));
        ASSERT_TRUE(zltest::waitFor([&] { return server.postCount() == posts + 1; }));
    }
    EXPECT_EQ(c.done.load(), 1);
    ASSERT_TRUE(c.error);
    EXPECT_EQ(c.error->code, kGMSDASHURLErrorCancelled);
    server.release();
}

TEST(Transport, ManyThreadsSendAndEachRequestEndsOnce)
{
    FakeDashServer server;
    auto conn = connect(server);
    conn->resumeSending();
    std::vector<Outcome> outcomes(200);
    const auto requests = requestsFor(outcomes);
    std::vector<std::thread> senders;
    for (int t = 0; t < 4; ++t) {
        senders.emplace_back([&, t] {
            for (int i = t; i < 200; i += 4)
                conn->sendRequest(requests[static_cast<std::size_t>(i)]);
        });
    }
    for (auto& s : senders)
        s.join();
    ASSERT_TRUE(zltest::waitFor([&] { return allDone(outcomes); }));
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        EXPECT_EQ(outcomes[i].done, 1) << i;
        EXPECT_FALSE(outcomes[i].error.has_value()) << i;
        EXPECT_EQ(outcomes[i].payload, requests[i]->message().SerializeAsString()) << i;
    }
    EXPECT_EQ(conn->pendingRequestCount(), 0);
    EXPECT_TRUE(zltest::waitFor([&] { return conn->numInProgressConnections() == 0; }));
}
