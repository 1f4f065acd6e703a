#include "ConnectionTestSupport.h"
#include "FakeDashServer.h"
#include "testsupport.h"

#include <gtest/gtest.h>

using namespace zenloft::wire;

using zltest::Outcome;
using zltest::tileRequest;

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
    zltest::FakeDashServer server([](const httplib::Request&, httplib::Response& res) { res.status = 503; });
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
    EXPECT_EQ(waits, (std::vector<double>{1.5, 3.0}));  // twice, each wait twice the last
    EXPECT_EQ(o.done, 1);
    EXPECT_EQ(server.postCount(), 3);
    EXPECT_EQ(r->retryCount(), 2);
    ASSERT_TRUE(o.error);
    EXPECT_EQ(o.error->code, 503);

    // Off by default, with a first wait between one and two seconds.
    for (int i = 0; i < 50; ++i) {
        r = tileRequest(o);
        EXPECT_FALSE(r->retryEnabled());
        EXPECT_EQ(r->nextRetryInterval(), 0.0);
        EXPECT_TRUE(r->startingRetryInterval() >= 1.0 && r->startingRetryInterval() <= 2.0);
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
    EXPECT_EQ(sawRetryable, std::optional<bool>(false));
    EXPECT_EQ(o.done, 1);
    EXPECT_EQ(r->retryCount(), 0);

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
