#include "ConnectionTestSupport.h"
#include "testsupport.h"

#include <zlib.h>

#include <algorithm>
#include <atomic>

#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace zenloft::wire;
using namespace std::string_literals;
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

// Tile requests numbered by their place, each reporting into its outcome;
// sent on `conn` if given.
struct Batch {
    explicit Batch(std::size_t n, GMSDASHConnection* conn = nullptr) : outcomes(n)
    {
        for (std::size_t i = 0; i < n; ++i) {
            requests.push_back(tileRequest(outcomes[i], static_cast<int>(i)));
            if (conn)
                conn->sendRequest(requests.back());
        }
    }
    // Waits until every request ended, then tells each one's outcome: "ok" (its
    // own message came back) or "domain:code"; " xN" when it ended N != 1 times.
    std::vector<std::string> ends(int timeoutMs = 5000) const
    {
        EXPECT_TRUE(zltest::waitFor(
            [&] { return std::all_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.done >= 1; }); },
            timeoutMs));
        std::vector<std::string> out;
        for (std::size_t i = 0; i < outcomes.size(); ++i) {
            const Outcome& o = outcomes[i];
            const std::string s = o.error ? o.error->domain.toStdString() + ":" + std::to_string(o.error->code)
                : o.payload == requests[i]->message().SerializeAsString() ? "ok"
                                                                           : "wrong payload";
            out.push_back(o.done == 1 ? s : s + " x" + std::to_string(o.done));
        }
        return out;
    }

    std::vector<Outcome> outcomes;
    std::vector<std::shared_ptr<GMSDASHProtobufferRequest>> requests;
};

}  // namespace

// Requests wait for resumeSending(), then go in bodies of at most 50; without
// a cookie the first body goes alone and only it asks for one.
TEST(Transport, SuspendedUntilResumedThenSentInBatchesOfFiftyThenFromManyThreads)
{
    FakeDashServer server;
    auto conn = zltest::connection(server.url());
    Batch first(120, conn.get());
    EXPECT_EQ(conn->pendingRequestCount(), 120);
    EXPECT_EQ(server.postCount(), 0);
    QSignalSpy starting(conn.get(), &GMSDASHConnection::DASHConnectionStartingSendNotification);
    conn->resumeSending();
    EXPECT_EQ(first.ends(), std::vector<std::string>(120, "ok"));
    ASSERT_EQ(starting.count(), 3);
    EXPECT_TRUE(starting.at(0).at(0).toMap().contains("groupID"));
    std::vector<std::string> bodies;  // tiles per body, "cookie" where it asks for one
    for (const auto& body : server.bodies()) {
        DashInput in(body, true);
        readRequestHeader(in);
        int tiles = 0;
        std::string asks;
        while (!in.atEnd()) {
            const auto id = in.readUInt16();
            if (id == kDashUserCookieRequest)
                asks = "cookie ";
            else
                in.readLengthPrefixed();
            tiles += id == kDashMapTileRequest;
        }
        bodies.push_back(asks + std::to_string(tiles));
    }
    std::sort(bodies.begin(), bodies.end());  // the last two may arrive in either order
    EXPECT_EQ(bodies, (std::vector<std::string>{"20", "50", "cookie 50"}));
    // The cookie and cohort came back and are kept.
    EXPECT_EQ(std::tuple(conn->clientState()->userCookie(), conn->clientState()->snapshot().cohort,
                         conn->outgoingCount() > 0, conn->incomingCount() > 0),
              std::tuple(77u, "test-cohort", true, true));

    // Once sending, many threads send at once and each request ends once.
    Batch more(200);
    std::vector<std::thread> senders;
    for (int t = 0; t < 4; ++t)
        senders.emplace_back([&, t] {
            for (int i = t; i < 200; i += 4)
                conn->sendRequest(more.requests[static_cast<std::size_t>(i)]);
        });
    for (auto& s : senders)
        s.join();
    EXPECT_EQ(more.ends(), std::vector<std::string>(200, "ok"));
    EXPECT_EQ(conn->pendingRequestCount(), 0);
    EXPECT_TRUE(zltest::waitFor([&] { return conn->numInProgressConnections() == 0; }));
}

// What the server sends back decides each of two requests' outcome: an HTTP
// failure, garbage, a wrong content type, a gzip body, a spoilt message.
TEST(Transport, EachAnswerKindEndsEachRequestOnce)
{
    const auto same = [](std::string answer) { return answer; };
    const auto spoilFirstTile = [](std::string answer) {
        // The first tile answer's message bytes (its length kept).
        answer[answer.find(std::string("\x00\x6c", 2)) + 2 + 4] = '\xff';
        return answer;
    };
    const std::string fail100 = "GMSDASHConnectionErrorDomain:100";
    const struct {
        const char* what;
        int status;
        const char* contentType;
        std::function<std::string(std::string)> answer;  // made from the echo answer
        std::vector<std::string> outcomes;               // "ok" or "domain:code"
    } cases[] = {
        {"503", 503, "text/plain", [](std::string) { return "busy"; },
         {"GMSDASHHTTPErrorDomain:503", "GMSDASHHTTPErrorDomain:503"}},
        {"garbage", 200, "application/binary", [](std::string) { return "\x00\x18garbage-garbage"s; },
         {fail100, fail100}},
        {"wrong type", 200, "text/html", same, {fail100, fail100}},
        {"gzip", 200, "application/binary", gzip, {"ok", "ok"}},
        {"spoilt message", 200, "application/binary", spoilFirstTile, {"GMSDASHConnectionErrorDomain:101", "ok"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        FakeDashServer server([&c](const httplib::Request& req, httplib::Response& res) {
            EXPECT_EQ(req.get_header_value("Accept-Encoding"), "gzip");
            EXPECT_EQ(req.get_header_value("Content-Type"), "application/binary");
            EXPECT_NE(req.get_header_value("User-Agent").find("(gzip)"), std::string::npos);
            res.status = c.status;
            if (std::string(c.what) == "gzip")
                res.set_header("Content-Encoding", "gzip");
            res.set_content(c.answer(FakeDashServer::echoAnswer(req.body)), c.contentType);
        });
        auto conn = zltest::connection(server.url());
        Batch batch(2, conn.get());
        conn->resumeSending();
        EXPECT_EQ(batch.ends(), c.outcomes);
        if (batch.outcomes[0].error && batch.outcomes[0].error->code == 503) {
            EXPECT_EQ(batch.outcomes[0].error->data, QByteArray("busy"));
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
    auto conn = zltest::connection(server.url());
    conn->setBaseTimeout(0.5);
    Batch batch(2, conn.get());
    conn->resumeSending();
    const std::string urlError = kGMSDASHURLErrorDomain.toStdString() + ":";
    EXPECT_EQ(batch.ends(10000), (std::vector<std::string>{"ok", urlError + "-1001"}));

    // Closing the connection ends a request still in flight, once.
    Batch inFlight(1);
    const int posts = server.postCount();
    {
        auto closing = zltest::connection(server.url());
        closing->resumeSending();
        closing->sendRequest(inFlight.requests[0]);
        ASSERT_TRUE(zltest::waitFor([&] { return server.postCount() == posts + 1; }));
    }
    EXPECT_EQ(inFlight.ends(), std::vector<std::string>{urlError + std::to_string(kGMSDASHURLErrorCancelled)});
    server.release();
}

TEST(ProtobufferRetry, RetryableErrors)
{
    const std::tuple<QString, int, bool> cases[] = {
        {kGMSDASHHTTPErrorDomain, 408, true},  {kGMSDASHHTTPErrorDomain, 502, true},
        {kGMSDASHHTTPErrorDomain, 503, true},  {kGMSDASHHTTPErrorDomain, 504, true},
        {kGMSDASHHTTPErrorDomain, 400, false}, {kGMSDASHHTTPErrorDomain, 403, false},
        {kGMSDASHHTTPErrorDomain, 404, false}, {kGMSDASHHTTPErrorDomain, 500, false},
        {kGMSDASHURLErrorDomain, -1001, true}, {kGMSDASHURLErrorDomain, -1005, true},
        {kGMSDASHURLErrorDomain, -1004, false}, {kGenericServerErrorDomain, 503, false},
    };
    for (const auto& [domain, code, retryable] : cases)
        EXPECT_EQ(GMSDASHProtobufferRequest::isRetryableError({domain, code, {}, {}, {}}), retryable) << code;
    EXPECT_FALSE(GMSDASHProtobufferRequest::isRetryableError(GMSDASHError::brokenFrame("x")));
}

TEST(ProtobufferRetry, WaitsOneAndAHalfThenThreeThenGivesUpUnlessTheBlockSaysNo)
{
    FakeDashServer server([](const httplib::Request&, httplib::Response& res) { res.status = 503; });
    const auto conn = zltest::connection(server.url());
    conn->resumeSending();
    Outcome o;
    auto r = tileRequest(o);
    r->setRetryEnabled(true);
    r->setStartingRetryInterval(1.5);
    std::vector<double> waits;
    r->setRetryScheduler([&](double seconds, QObject*, std::function<void()> resend) {
        waits.push_back(seconds);
        resend();  // no real waiting in the test
    });
    conn->sendRequest(r);
    ASSERT_TRUE(zltest::waitFor([&] { return o.done > 0; }));
    ASSERT_TRUE(o.error);
    // Twice, each wait twice the last.
    EXPECT_EQ(std::tuple(waits, o.done.load(), server.postCount(), r->retryCount(), o.error->code),
              std::tuple(std::vector<double>{1.5, 3.0}, 1, 3, 2, 503));

    // Off by default, with a first wait between one and two seconds.
    for (int i = 0; i < 50; ++i) {
        r = tileRequest(o);
        EXPECT_TRUE(!r->retryEnabled() && r->nextRetryInterval() == 0.0 && r->startingRetryInterval() >= 1.0
                    && r->startingRetryInterval() <= 2.0)
            << r->startingRetryInterval();
    }
    // The retry block decides, told whether the error was retryable.
    o.done = 0;
    r->setRetryEnabled(true);
    r->setStartingRetryInterval(1.0);
    std::optional<bool> sawRetryable;
    r->setRetryBlock([&](const GMSDASHError&, bool retryable) {
        sawRetryable = retryable;
        return false;
    });
    r->asyncRequestFailed(GMSDASHError::brokenFrame("x"), nullptr);
    EXPECT_EQ(std::tuple(sawRetryable, o.done.load(), r->retryCount()), std::tuple(std::optional<bool>(false), 1, 0));

    // A handler whose context is gone: no retry interval at all.
    auto q = tileRequest(o);
    q->setRetryEnabled(true);
    {
        QObject context;
        q->setHandler(&context, [](GMSDASHProtobufferRequest::Response, std::optional<GMSDASHError>) {});
        EXPECT_GT(q->nextRetryInterval(), 0.0);
    }
    EXPECT_EQ(q->nextRetryInterval(), 0.0);
}
