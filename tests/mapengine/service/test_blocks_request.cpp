#include "ConnectionTestSupport.h"
#include "GMSDASHBlocksRequest.h"
#include "GMSDASHStreamingReply.h"

#include <gtest/gtest.h>

using namespace zenloft::wire;

namespace {

// A block request with an answer of its own shape: a count, then that many
// 16-bit numbers. Only a whole answer counts as read.
struct Numbers {
    std::vector<int> read;
    int completions = 0;
    std::vector<int> failures;
    std::shared_ptr<GMSDASHBlocksRequest> request(quint16 id = 200)
    {
        return std::make_shared<GMSDASHBlocksRequest>(
            id, [](DashOutput& out) { out.writeUInt16(7); out.writeUInt16(9); },
            [this](DashInput& in) {
                std::vector<int> values(in.readUInt32());
                for (int& v : values)
                    v = in.readUInt16();
                read = values;
                ++completions;
                return true;
            },
            [this](const GMSDASHError& e) { failures.push_back(e.code); });
    }
};

// The answer to `id`: a count and the values.
std::string numbers(std::uint16_t id, std::vector<std::uint16_t> values)
{
    DashOutput out;
    out.writeUInt16(id);
    out.writeUInt32(static_cast<std::uint32_t>(values.size()));
    for (auto v : values)
        out.writeUInt16(v);
    return out.take();
}

// Feeds a reply for `sent` the protocol version and then `answers` (less the
// last `cut` bytes), byte by byte, and finishes it.
void reply(std::vector<GMSDASHRequestPtr> sent, const std::string& answers, std::size_t cut = 0)
{
    GMSDASHStreamingReply r(sent, nullptr);
    const std::string body = std::string("\0\x18", 2) + answers.substr(0, answers.size() - cut);
    for (char c : body)
        r.appendData(&c, 1);
    r.finish(std::nullopt);
}

}  // namespace

TEST(BlocksRequest, WritesItsBlockReadsAStreamedAnswerOnceAndFailsBrokenOnes)
{
    Numbers n;
    auto request = n.request();
    GMSDASHClientDescription description;
    description.platformID = "ios:test";
    const auto connection = zltest::connection("http://127.0.0.1:1/glm/mmap", description);
    connection->setSuppressUserState(true);
    std::vector<GMSDASHRequestPtr> body{request};
    const std::string payload = connection->buildServerPayloadForRequests(body);
    // The body ends with the request's id and exactly its block's bytes.
    EXPECT_EQ(payload.substr(payload.size() - 6), std::string("\x00\xC8\x00\x07\x00\x09", 6));
    EXPECT_EQ(request->sentBytes(), 6);

    // Byte by byte: the reader is tried again until the answer is whole.
    reply({request}, numbers(200, {1, 2, 65535}));
    EXPECT_EQ(n.completions, 1);
    EXPECT_EQ(n.read, (std::vector<int>{1, 2, 65535}));
    EXPECT_TRUE(n.failures.empty());

    // A wrong id fails it with the framing error; an answer cut short fails
    // once the body has ended.
    Numbers wrongId, cut;
    reply({wrongId.request(200)}, numbers(201, {1}));
    reply({cut.request()}, numbers(200, {1, 2, 3}), 1);
    EXPECT_EQ(wrongId.failures, std::vector<int>{100});
    EXPECT_EQ(cut.failures.size(), 1u);
    EXPECT_EQ(wrongId.completions + cut.completions, 0);

    // With no reader the answer's end can't be found: a framing error, and
    // the request after it fails too; with no failure block nothing breaks.
    auto after = std::make_shared<zltest::RecordingRequest>(108);
    reply({std::make_shared<GMSDASHBlocksRequest>(300, nullptr, nullptr), after},
          zltest::answerBody(24, {{300, "x"}, {108, "y"}}).substr(2));
    EXPECT_EQ(after->outcomes, std::vector<std::string>{"fail:GMSDASHConnectionErrorDomain:100"});
}
