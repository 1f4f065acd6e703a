#include "ConnectionTestSupport.h"
#include "FakeDashServer.h"
#include "GMSDASHProtobufferRequest.h"
#include "maptile.pb.h"
#include "testsupport.h"

#include <gtest/gtest.h>

using namespace zenloft::wire;

namespace {
std::shared_ptr<GMSDASHProtobufferRequest> request()
{
    return std::make_shared<GMSDASHProtobufferRequest>(kDashMapTileRequest,
                                                       std::make_shared<GMSx_GMMMapTileRequestProto>(),
                                                       &GMSx_GMMMapTileRequestProto::default_instance());
}
}  // namespace

TEST(ProtobufferRetry, DefaultsAndRandomStart)
{
    for (int i = 0; i < 50; ++i) {
        auto r = request();
        EXPECT_FALSE(r->retryEnabled());
        EXPECT_EQ(r->retryFactor(), 2.0);
        EXPECT_EQ(r->maxRetries(), 2);
        EXPECT_GE(r->startingRetryInterval(), 1.0);
        EXPECT_LE(r->startingRetryInterval(), 2.0);
        EXPECT_EQ(r->nextRetryInterval(), 0.0);  // off by default
    }
}

TEST(ProtobufferRetry, RetryableErrors)
{
    for (int code : {408, 502, 503, 504})
        EXPECT_TRUE(GMSDASHProtobufferRequest::isRetryableError({kGMSDASHHTTPErrorDomain, code, {}, {}, {}}));
    for (int code : {400, 403, 404, 500})
        EXPECT_FALSE(GMSDASHProtobufferRequest::isRetryableError({kGMSDASHHTTPErrorDomain, code, {}, {}, {}}));
    EXPECT_TRUE(GMSDASHProtobufferRequest::isRetryableError({kGMSDASHURLErrorDomain, -1001, {}, {}, {}}));
    EXPECT_TRUE(GMSDASHProtobufferRequest::isRetryableError({kGMSDASHURLErrorDomain, -1005, {}, {}, {}}));
    EXPECT_FALSE(GMSDASHProtobufferRequest::isRetryableError({kGMSDASHURLErrorDomain, -1004, {}, {}, {}}));
    EXPECT_FALSE(GMSDASHProtobufferRequest::isRetryableError(GMSDASHError::brokenFrame("x")));
    EXPECT_FALSE(GMSDASHProtobufferRequest::isRetryableError({kGenericServerErrorDomain, 503, {}, {}, {}}));
}

TEST(ProtobufferRetry, WaitsOneAndAHalfThenThreeThenGivesUp)
{
    std::atomic<int> posts{0};
    zltest::FakeDashServer server([&](const httplib::Request&, httplib::Response& res) {
        ++posts;
        res.status = 503;
    });
    GMSDASHConnection conn(QUrl(QString::fromStdString(server.url())), {}, nullptr,
                           std::make_shared<zl::ManualClock>());
    conn.resumeSending();
    auto r = request();
    r->setRetryEnabled(true);
    r->setStartingRetryInterval(1.5);
    std::vector<double> waits;
    r->setRetryScheduler([&](double seconds, QObject*, std::function<void()> resend) {
        waits.push_back(seconds);
        resend();  // no real waiting in the test
    });
    int calls = 0;
    std::optional<GMSDASHError> error;
    r->setHandler(nullptr, [&](GMSDASHProtobufferRequest::Response, std::optional<GMSDASHError> e) {
        ++calls;
        error = e;
    });
    conn.sendRequest(r);
    ASSERT_TRUE(zltest::waitFor([&] { return calls > 0; }));
    EXPECT_EQ(waits, (std::vector<double>{1.5, 3.0}));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(posts.load(), 3);
    EXPECT_EQ(r->retryCount(), 2);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, 503);
}

TEST(ProtobufferRetry, RetryBlockDecidesAndGoneHandlerStops)
{
    auto r = request();
    r->setRetryEnabled(true);
    r->setStartingRetryInterval(1.0);
    bool asked = false;
    bool sawRetryable = true;
    r->setRetryBlock([&](const GMSDASHError&, bool retryable) {
        asked = true;
        sawRetryable = retryable;
        return false;
    });
    int calls = 0;
    r->setHandler(nullptr, [&](GMSDASHProtobufferRequest::Response, std::optional<GMSDASHError>) { ++calls; });
    r->asyncRequestFailed(GMSDASHError::brokenFrame("x"), nullptr);
    EXPECT_TRUE(asked);
    EXPECT_FALSE(sawRetryable);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(r->retryCount(), 0);

    // A handler whose context is gone: no retry interval at all.
    auto q = request();
    q->setRetryEnabled(true);
    {
        QObject context;
        q->setHandler(&context, [](GMSDASHProtobufferRequest::Response, std::optional<GMSDASHError>) {});
        EXPECT_GT(q->nextRetryInterval(), 0.0);
    }
    EXPECT_EQ(q->nextRetryInterval(), 0.0);
}
