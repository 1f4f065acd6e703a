#pragma once

#include "DashRequestHandler.h"

#include <memory>
#include <string>
#include <string_view>

namespace zenloft::mapservice {

// The paint route: one signed tile request a POST, answered from the same
// stores as the framed route. Offered only when the service has a signing
// key; a body whose signature does not match the key is refused unread.
class PaintRequestHandler {
public:
    PaintRequestHandler(std::string signingKey, std::shared_ptr<const DashRequestHandler> tiles);

    bool offered() const { return !m_key.empty(); }

    // signature: the signature header's value, null when the header is missing.
    // 404 when not offered, 403 for a missing or wrong signature, 400 for a
    // body that is no tile request, else 200 with the bare tile answer.
    DashAnswer handle(std::string_view body, const std::string* signature) const;

private:
    std::string m_key;
    std::shared_ptr<const DashRequestHandler> m_tiles;
};

}  // namespace zenloft::mapservice
