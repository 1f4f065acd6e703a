#include "ConnectionTestSupport.h"
#include "FakeDashServer.h"
#include "testsupport.h"

#include <zlib.h>

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

class TransportTest : public ::testing::Test {
protected:
    std::unique_ptr<GMSDASHConnection> connect(const FakeDashServer& server)
    {
        GMSDASHClientDescription d;
        d.apiKey = "KEY";
        auto c = std::make_unique<GMSDASHConnection>(QUrl(QString::fromStdString(server.url())), d,
                                                     std::make_shared<GMSDASHClientState>(nullptr),
                                                     std::make_shared<zl::ManualClock>());
        return c;
    }
    // Sends one request on a resumed connection and waits for its end.
    static void sendAndWait(GMSDASHConnection& conn, Outcome& outcome)
    {
        conn.sendRequest(tileRequest(outcome));
        ASSERT_TRUE(zltest::waitFor([&] { return outcome.done > 0; }));
    }
};

}  // namespace

TEST_F(TransportTest, SuspendedUntilResumedThenAnswered)
{
    FakeDashServer server;
    auto conn = connect(server);
    Outcome a, b;
    auto ra = tileRequest(a, 1);
    auto rb = tileRequest(b, 2);
    conn->sendRequest(ra);
    conn->sendRequest(rb);
    EXPECT_EQ(conn->pendingRequestCount(), 2);
    QSignalSpy starting(conn.get(), &GMSDASHConnection::DASHConnectionStartingSendNotification);
    conn->resumeSending();
    ASSERT_TRUE(zltest::waitFor([&] { return a.done > 0 && b.done > 0; }));
    EXPECT_FALSE(a.error.has_value());
    EXPECT_EQ(a.payload, ra->message().SerializeAsString());
    EXPECT_EQ(b.payload, rb->message().SerializeAsString());
    EXPECT_EQ(server.postCount(), 1);  // both in one body
    ASSERT_EQ(starting.count(), 1);
    EXPECT_TRUE(starting.at(0).at(0).toMap().contains("groupID"));
    // The cookie came back and is kept; the next body no longer asks.
    EXPECT_EQ(conn->clientState()->userCookie(), 77u);
    EXPECT_EQ(conn->clientState()->snapshot().cohort, "test-cohort");
    EXPECT_GT(conn->outgoingCount(), 0);
    EXPECT_GT(conn->incomingCount(), 0);
}

TEST_F(TransportTest, BatchesOfFiftyAndTheFirstPostGoesAlone)
{
    FakeDashServer server;
    auto conn = connect(server);
    std::vector<Outcome> outcomes(120);
    for (int i = 0; i < 120; ++i)
        conn->sendRequest(tileRequest(outcomes[static_cast<std::size_t>(i)], i));
    conn->resumeSending();
    ASSERT_TRUE(zltest::waitFor([&] {
        return std::all_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.done == 1; });
    }));
    // 120 requests: bodies of at most 50 (+ identity requests).
    EXPECT_EQ(server.postCount(), 3);
    int asking = 0;
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
        EXPECT_LE(tiles, 50);
    }
    // Without a cookie the first POST went alone, and only it asked for one.
    EXPECT_EQ(asking, 1);
}

TEST_F(TransportTest, HttpFailureGarbageAndWrongTypeFailEachRequestOnce)
{
    std::atomic<int> mode{0};
    FakeDashServer server([&](const httplib::Request& req, httplib::Response& res) {
        switch (mode.load()) {
        case 0:
            res.status = 503;
            res.set_content("busy", "text/plain");
            break;
        case 1:
            res.set_content("\x00\x18garbage-garbage", "application/binary");
            break;
        default:
            res.set_content(FakeDashServer::echoAnswer(req.body), "text/html");
        }
    });
    auto conn = connect(server);
    conn->resumeSending();
    Outcome busy;
    sendAndWait(*conn, busy);
    ASSERT_TRUE(busy.error);
    EXPECT_EQ(busy.error->domain, kGMSDASHHTTPErrorDomain);
    EXPECT_EQ(busy.error->code, 503);
    EXPECT_EQ(busy.error->data, QByteArray("busy"));
    for (int m : {1, 2}) {
        mode = m;
        Outcome o;
        sendAndWait(*conn, o);
        ASSERT_TRUE(o.error) << m;
        EXPECT_EQ(o.error->code, 100) << m;
        EXPECT_EQ(o.done, 1) << m;
    }
    EXPECT_EQ(busy.done, 1);
}

TEST_F(TransportTest, GzipAnswersAreInflated)
{
    FakeDashServer server([](const httplib::Request& req, httplib::Response& res) {
        EXPECT_EQ(req.get_header_value("Accept-Encoding"), "gzip");
        EXPECT_EQ(req.get_header_value("Content-Type"), "application/binary");
        EXPECT_NE(req.get_header_value("User-Agent").find("(gzip)"), std::string::npos);
        res.set_header("Content-Encoding", "gzip");
        res.set_content(gzip(FakeDashServer::echoAnswer(req.body)), "application/binary");
    });
    auto conn = connect(server);
    conn->resumeSending();
    Outcome a;
    sendAndWait(*conn, a);
    EXPECT_FALSE(a.error.has_value());
    EXPECT_EQ(a.payload, tileRequest(a)->message().SerializeAsString());
}

TEST_F(TransportTest, BadMessageGives101AndTheRestStillReads)
{
    FakeDashServer server([](const httplib::Request& req, httplib::Response& res) {
        std::string answer = FakeDashServer::echoAnswer(req.body);
        // Spoil the first tile answer's message bytes (keep its length).
        const std::size_t at = answer.find(std::string("\x00\x6c", 2));
        answer[at + 2 + 4] = '\xff';
        res.set_content(answer, "application/binary");
    });
    auto conn = connect(server);
    Outcome a, b;
    conn->sendRequest(tileRequest(a, 1));
    conn->sendRequest(tileRequest(b, 2));
    conn->resumeSending();
    ASSERT_TRUE(zltest::waitFor([&] { return a.done > 0 && b.done > 0; }));
    ASSERT_TRUE(a.error);
    EXPECT_EQ(a.error->code, 101);
    EXPECT_FALSE(b.error.has_value());
}

TEST_F(TransportTest, StalledAnswerTimesOutAfterEarlyRequestsFinished)
{
    FakeDashServer* self = nullptr;
    FakeDashServer server([&self](const httplib::Request& req, httplib::Response& res) {
        const std::string answer = FakeDashServer::echoAnswer(req.body);
        // Send all but the last answer, then stall until released.
        const std::size_t cut = answer.size() - 10;
        res.set_chunked_content_provider("application/binary", [answer, cut, &self](size_t offset, httplib::DataSink& sink) {
            if (offset == 0) {
                sink.write(answer.data(), cut);
                return true;
            }
            self->waitUntilReleased();
            return false;
        });
    });
    self = &server;
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
    server.release();
}

TEST_F(TransportTest, ManyThreadsSendAndEachRequestEndsOnce)
{
    FakeDashServer server;
    auto conn = connect(server);
    conn->resumeSending();
    std::vector<Outcome> outcomes(200);
    std::vector<std::shared_ptr<GMSDASHProtobufferRequest>> requests;
    for (int i = 0; i < 200; ++i)
        requests.push_back(tileRequest(outcomes[static_cast<std::size_t>(i)], i));
    std::vector<std::thread> senders;
    for (int t = 0; t < 4; ++t) {
        senders.emplace_back([&, t] {
            for (int i = t; i < 200; i += 4)
                conn->sendRequest(requests[static_cast<std::size_t>(i)]);
        });
    }
    for (auto& s : senders)
        s.join();
    ASSERT_TRUE(zltest::waitFor([&] {
        return std::all_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.done >= 1; });
    }));
    for (std::size_t i = 0; i < outcomes.size(); ++i) {
        EXPECT_EQ(outcomes[i].done, 1) << i;
        EXPECT_FALSE(outcomes[i].error.has_value()) << i;
        EXPECT_EQ(outcomes[i].payload, requests[i]->message().SerializeAsString()) << i;
    }
    EXPECT_EQ(conn->pendingRequestCount(), 0);
    EXPECT_TRUE(zltest::waitFor([&] { return conn->numInProgressConnections() == 0; }));
}

TEST_F(TransportTest, ClosingTheConnectionEndsRequestsInFlight)
{
    FakeDashServer* self = nullptr;
    FakeDashServer server([&self](const httplib::Request&, httplib::Response& res) {
        self->waitUntilReleased();
        res.status = 500;
    });
    self = &server;
    Outcome a;
    {
        auto conn = connect(server);
        conn->resumeSending();
        conn->sendRequest(tileRequest(a));
        ASSERT_TRUE(zltest::waitFor([&] { return server.postCount() == 1; }));
    }
    server.release();
    EXPECT_EQ(a.done.load(), 1);
    ASSERT_TRUE(a.error);
    EXPECT_EQ(a.error->code, kGMSDASHURLErrorCancelled);
}
