#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace zenloft::wire {

// Batches of the paint route carry no API key: each POST body is signed
// instead, and the map service answers only bodies whose signature it can
// reproduce with its own copy of the key.
//
// The signature is HMAC-SHA256 (RFC 2104 over FIPS 180-4) of the exact body
// bytes with the signing key, written as 64 lower-case hex digits in the
// header below. The body is a serialised GMSx_GMMMapTileRequestProto; the
// answer is a serialised GMSx_GMMMapTileResponseProto, both without framing.
inline constexpr const char* kPaintSignatureHeader = "X-Paint-Signature";
inline constexpr const char* kPaintContentType = "application/x-protobuf";

using Sha256Digest = std::array<std::uint8_t, 32>;

Sha256Digest sha256(std::string_view data);
Sha256Digest hmacSha256(std::string_view key, std::string_view message);
std::string toHex(const Sha256Digest& digest);

// The header value for a body.
std::string paintSignature(std::string_view key, std::string_view body);
// Compares in time independent of where the texts differ; case of the hex
// digits matters (lower case only).
bool paintSignatureMatches(std::string_view key, std::string_view body, std::string_view signature);

}  // namespace zenloft::wire
