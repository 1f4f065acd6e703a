#include "ConnectionTestSupport.h"
#include "DashErrors.h"
#include "GMSDASHBlocksRequest.h"
#include "GMSDASHStreamingReply.h"

#include <gtest/gtest.h>

#include <random>

using namespace zenloft::wire;
using zltest::RecordingRequest;
using zltest::reply;

namespace {

std::vector<std::shared_ptr<RecordingRequest>> make(int n, quint16 id = 108)
{
    std::vector<std::shared_ptr<RecordingRequest>> v;
    for (int i = 0; i < n; ++i)
        v.push_back(std::make_shared<RecordingRequest>(id));
    return v;
}

// A block request with an answer of its own shape: a count, then that many
// 16-bit numbers; only a whole answer counts as read. It logs "read
// <numbers>" or "failed <code>".
std::shared_ptr<GMSDASHBlocksRequest> numbersRequest(std::vector<std::string>& log)
{
    return std::make_shared<GMSDASHBlocksRequest>(
        200,
        [](DashOutput& out) {
            out.writeUInt16(7);
            out.writeUInt16(9);
        },
        [&log](DashInput& in) {
            std::string read = "read";
            for (auto n = in.readUInt32(); n > 0; --n)
                read += " " + std::to_string(in.readUInt16());
            log.push_back(read);
            return true;
        },
        [&log](const GMSDASHError& e) { log.push_back("failed " + std::to_string(e.code)); });
}

// A body of version 24 answering `id` with a count and the values.
std::string numbers(std::uint16_t id, std::vector<std::uint16_t> values)
{
    DashOutput out;
    out.writeUInt16(24);
    out.writeUInt16(id);
    out.writeUInt32(static_cast<std::uint32_t>(values.size()));
    for (auto v : values)
        out.writeUInt16(v);
    return out.take();
}

}  // namespace

TEST(StreamingReply, EachRequestEndsOnceAndAFailureStopsTheRest)
{
    const std::string fail100 = "fail:GMSDASHConnectionErrorDomain:100";
    struct Case {
        const char* name;
        std::uint16_t version;
        std::vector<std::pair<std::uint16_t, std::string>> answers;
        std::size_t cut;  // bytes missing at the end
        std::optional<GMSDASHError> transportError;
        std::vector<std::string> outcomes;
    } cases[] = {
        {"version 23", 23, {{108, "a"}, {108, "b"}, {108, "c"}}, 0, {}, {fail100, fail100, fail100}},
        {"id mismatch", 24, {{108, "a"}, {108, "b"}, {109, "c"}, {108, "d"}, {108, "e"}}, 0, {},
         {"ok:a", "ok:b", fail100, fail100, fail100}},
        {"truncated", 24, {{108, "a"}, {108, "bbbb"}}, 2, {}, {"ok:a", fail100, fail100}},
        {"transport error", 24, {{108, "a"}}, 0, GMSDASHError{kGMSDASHURLErrorDomain, -1005, "lost", {}, {}},
         {"ok:a", "fail:NSURLErrorDomain:-1005"}},
    };
    for (const Case& c : cases) {
        auto reqs = make(static_cast<int>(c.outcomes.size()));
        const std::string body = zltest::answerBody(c.version, c.answers);
        reply({reqs.begin(), reqs.end()}, body.substr(0, body.size() - c.cut), nullptr, c.transportError);
        for (std::size_t i = 0; i < reqs.size(); ++i)
            EXPECT_EQ(reqs[i]->outcomes, std::vector<std::string>{c.outcomes[i]}) << c.name << " " << i;
    }
}

TEST(StreamingReply, FuzzEveryRequestGetsExactlyOneOutcome)
{
    std::mt19937 rng(424242);
    const std::string good = zltest::answerBody(24, {{108, "alpha"}, {108, "beta"}, {108, std::string(300, 'q')}});
    for (int round = 0; round < 3000; ++round) {
        std::string body = good;
        switch (round % 3) {
        case 0:
            body.resize(rng() % (body.size() + 1));
            break;
        case 1:
            for (int k = 0; k < 3; ++k)
                body[rng() % body.size()] = static_cast<char>(rng());
            break;
        default:
            body.assign(rng() % 64, '\0');
            for (char& c : body)
                c = static_cast<char>(rng());
        }
        auto reqs = make(3);
        GMSDASHStreamingReply reply({reqs.begin(), reqs.end()}, nullptr);
        std::size_t at = 0;
        while (at < body.size()) {
            const std::size_t n = std::min<std::size_t>(1 + rng() % 50, body.size() - at);
            reply.appendData(body.data() + at, n);
            at += n;
        }
        reply.finish(std::nullopt);
        for (const auto& r : reqs)
            ASSERT_EQ(r->outcomes.size(), 1u) << "round " << round;
    }
}

// The body a connection builds: header, the identity requests it adds, then
// each request's own bytes.
TEST(Payload, HeaderIdentityRequestsAndBodiesByteForByte)
{
    GMSDASHClientDescription d;
    d.platformID = "ios:test";
    d.softwareVersion = "9.9";
    d.preferredLanguages = {"pl", "en"};
    d.apiKey = "KEY";
    const auto connection = [&d](std::shared_ptr<GMSDASHClientState> state) {
        return zltest::connection("http://127.0.0.1:1/glm/mmap", d, std::move(state));
    };
    auto state = std::make_shared<GMSDASHClientState>(nullptr);
    std::vector<GMSDASHRequestPtr> reqs{std::make_shared<RecordingRequest>(108, "xyz")};
    std::string body = connection(state)->buildServerPayloadForRequests(reqs);
    ASSERT_EQ(reqs.size(), 3u);  // cookie request, client properties, ours

    // Version 24, no cookie yet, the first language, the app store channel.
    DashInput in(body, true);
    EXPECT_EQ(readRequestHeader(in), (DashRequestHeader{24, 0, u"pl", u"ios:test", u"9.9", u"iOS-AppStore"}));
    EXPECT_EQ(in.readUInt16(), 15);
    EXPECT_EQ(in.readUInt16(), 62);
    GMSx_GMMClientPropertiesRequestProto p;
    ASSERT_TRUE(p.ParseFromString(std::string(in.readLengthPrefixed())));
    EXPECT_EQ(p.ios_api_app_fingerprint().api_key(), "KEY");
    EXPECT_TRUE(p.gzip_enabled());
    EXPECT_EQ(in.readUInt16(), 108);
    EXPECT_EQ(in.readLengthPrefixed(), "xyz");
    EXPECT_TRUE(in.atEnd());
    EXPECT_EQ(reqs[2]->sentBytes(), 2 + 4 + 3);
    EXPECT_EQ(reqs[0]->sentBytes(), 2);

    // A known cookie goes in the header and is not asked for again.
    state->setUserCookie(0x0102030405060708ULL, 0);
    reqs = {std::make_shared<RecordingRequest>(108)};
    body = connection(state)->buildServerPayloadForRequests(reqs);
    EXPECT_EQ(reqs.size(), 2u);
    EXPECT_EQ(body.substr(2, 8), std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8));

    // Suppressed user state: neither the cookie nor its request. A block
    // request's bytes are its id and exactly what its writer wrote.
    auto fresh = connection(nullptr);
    fresh->setSuppressUserState(true);
    std::vector<std::string> log;
    reqs = {numbersRequest(log)};
    body = fresh->buildServerPayloadForRequests(reqs);
    ASSERT_EQ(reqs.size(), 2u);  // no id 15
    EXPECT_EQ(reqs[0]->requestID(), 62);
    EXPECT_EQ(body.substr(2, 8), std::string(8, '\0'));
    EXPECT_EQ(body.substr(body.size() - 6), std::string("\x00\xC8\x00\x07\x00\x09", 6));
    EXPECT_EQ(reqs[1]->sentBytes(), 6);

    d.preferredLanguages = {QString(21846, QChar(0x0800))};
    reqs = {std::make_shared<RecordingRequest>(108)};
    EXPECT_THROW(connection(nullptr)->buildServerPayloadForRequests(reqs), DashStringTooLongError);
}

TEST(BlocksRequest, ReadsAStreamedAnswerOnceAndFailsBrokenOnes)
{
    // Byte by byte: the reader is tried again until the answer is whole.
    std::vector<std::string> whole, wrongId, cut;
    reply({numbersRequest(whole)}, numbers(200, {1, 2, 65535}));
    EXPECT_EQ(whole, std::vector<std::string>{"read 1 2 65535"});
    // A wrong id fails it with the framing error, as does an answer cut short
    // once the body has ended.
    reply({numbersRequest(wrongId)}, numbers(201, {1}));
    const std::string three = numbers(200, {1, 2, 3});
    reply({numbersRequest(cut)}, three.substr(0, three.size() - 1));
    EXPECT_EQ(wrongId, std::vector<std::string>{"failed 100"});
    EXPECT_EQ(cut, std::vector<std::string>{"failed 100"});

    // With no reader the answer's end can't be found: a framing error, and
    // the request after it fails too; with no failure block nothing breaks.
    auto after = std::make_shared<RecordingRequest>(108);
    reply({std::make_shared<GMSDASHBlocksRequest>(300, nullptr, nullptr), after},
          zltest::answerBody(24, {{300, "x"}, {108, "y"}}));
    EXPECT_EQ(after->outcomes, std::vector<std::string>{"fail:GMSDASHConnectionErrorDomain:100"});
}
