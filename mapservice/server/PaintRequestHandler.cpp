#include "PaintRequestHandler.h"

#include "PaintSignature.h"

namespace zenloft::mapservice {

namespace {

DashAnswer refusal(int status, std::string text)
{
    DashAnswer a;
    a.httpStatus = status;
    a.contentType = "text/plain";
    a.error = text;
    a.body = std::move(text) + "\n";
    return a;
}

}  // namespace

PaintRequestHandler::PaintRequestHandler(std::string signingKey, std::shared_ptr<const DashRequestHandler> tiles)
    : m_key(std::move(signingKey)), m_tiles(std::move(tiles))
{
}

DashAnswer PaintRequestHandler::handle(std::string_view body, const std::string* signature) const
{
    if (!offered() || !m_tiles)
        return refusal(404, "not found");
    if (!signature)
        return refusal(403, "missing signature");
    if (!wire::paintSignatureMatches(m_key, body, *signature))
        return refusal(403, "bad signature");
    DashAnswer answer;
    answer.requestCount = 1;
    wire::DashOutput out;
    if (!m_tiles->writeTileResponse(body, out, answer, false)) {
        DashAnswer bad = refusal(400, "malformed paint request");
        bad.requestCount = 1;
        return bad;
    }
    answer.contentType = wire::kPaintContentType;
    answer.body = out.take();
    return answer;
}

}  // namespace zenloft::mapservice
