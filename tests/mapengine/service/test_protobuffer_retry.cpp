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
