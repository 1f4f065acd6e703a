#pragma once

#include "DashInput.h"
#include "DashOutput.h"

#include <cstdint>
#include <string>

namespace zenloft::wire {

inline constexpr std::uint16_t kDashProtocolVersion = 24;
inline constexpr const char16_t* kDashDistributionChannel = u"iOS-AppStore";
inline constexpr const char* kDashContentType = "application/binary";
inline constexpr const char* kDashPath = "/glm/mmap";
// Where batches of the paint route go; client parameters name it relative
// to the service's address.
inline constexpr const char* kPaintPath = "/glm/paint";

// The request numbers that tag each request and its answer in a body.
enum DashRequestId : std::uint16_t {
    kDashUserCookieRequest = 15,
    kDashClientPropertiesRequest = 62,
    kDashClientParametersRequest = 75,
    kDashMapTileRequest = 108,
    kDashApiQuotaEventRequest = 120,
};

// Errors of the connection's own domain.
enum DashErrorCode : int {
    kDashErrorBrokenFrame = 100,
    kDashErrorBadMessage = 101,
};

// What opens every POST body.
struct DashRequestHeader {
    std::uint16_t protocolVersion = kDashProtocolVersion;
    std::uint64_t userCookie = 0;
    std::u16string language;
    std::u16string platform;
    std::u16string softwareVersion;
    std::u16string distributionChannel = kDashDistributionChannel;

    bool operator==(const DashRequestHeader&) const = default;
};

void writeRequestHeader(DashOutput& out, const DashRequestHeader& header);
// Reads the header as written; the version is returned as it stands, the
// caller decides what to accept.
DashRequestHeader readRequestHeader(DashInput& in);

// Whether a request of this number carries a 32-bit length-prefixed body
// (true), nothing (the user cookie request), or is unknown to the framing.
enum class DashBodyKind { LengthPrefixed, Empty, Unknown };
DashBodyKind requestBodyKind(std::uint16_t requestId);

}  // namespace zenloft::wire
