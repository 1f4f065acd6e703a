#include "ConnectionTestSupport.h"
#include "GMSDASHBlocksRequest.h"
#include "GMSDASHStreamingReply.h"

#include <gtest/gtest.h>

using namespace zenloft::wire;

namespace {

// A block request with an answer of its own shape: a count, then that many
// 16-bit numbers. Only a whole answer counts as read. Each outcome is logged:
// "read <numbers>" or "failed <code>".
struct Numbers {
    std::vector<std::string> log;
    std::shared_ptr<GMSDASHBlocksRequest> request(quint16 id = 200)
    {
        return std::make_shared<GMSDASHBlocksRequest>(
            id, [](DashOutput& out) { out.writeUInt16(7); out.writeUInt16(9); },
            [this](DashInput& in) {
                std::string read = "read";
                for (auto n = in.readUInt32(); n > 0; --n)
                    read += " " + std::to_string(in.readUInt16());
                log.push_back(read);
                return true;
            },
            [this](const GMSDASHError& e) { log.push_back("failed " + std::to_string(e.code)); });
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
    EXPECT_EQ(n.log, std::vector<std::string>{"read 1 2 65535"});

    // A wrong id fails it with the framing error; an answer cut short fails
    // once the body has ended.
    Numbers wrongId, cut;
    reply({wrongId.request(200)}, numbers(201, {1}));
    reply({cut.request()}, numbers(200, {1, 2, 3}), 1);
    EXPECT_EQ(wrongId.log, std::vector<std::string>{"failed 100"});
    ASSERT_EQ(cut.log.size(), 1u);
    EXPECT_EQ(cut.log[0].rfind("failed", 0), 0u) << cut.log[0];

    // With no reader the answer's end can't be found: a framing error, and
    // the request after it fails too; with no failure block nothing breaks.
    auto after = std::make_shared<zltest::RecordingRequest>(108);
    reply({std::make_shared<GMSDASHBlocksRequest>(300, nullptr, nullptr), after},
          zltest::answerBody(24, {{300, "x"}, {108, "y"}}).substr(2));
    EXPECT_EQ(after->outcomes, std::vector<std::string>{"fail:GMSDASHConnectionErrorDomain:100"});
}
