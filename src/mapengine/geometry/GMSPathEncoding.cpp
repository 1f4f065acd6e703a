// The public encoded polyline text: five decimals, deltas, zig-zag, five
// bits per character from '?'.

#include <cmath>
#include <cstdint>

#include "GMSPath.h"

namespace {

// value x 1e5 as a 32-bit integer, rounded half away from zero; out of range
// saturates and NaN reads 0 so that odd input still gives a defined text.
std::int32_t toE5(double value) {
    const double r = std::round(value * 100000.0);
    if (std::isnan(r))
        return 0;
    if (r >= 2147483647.0)
        return INT32_MAX;
    if (r <= -2147483648.0)
        return INT32_MIN;
    return static_cast<std::int32_t>(r);
}

void appendUnsigned(std::string& out, std::uint32_t value) {
    while (value >= 32) {
        out.push_back(char(((value & 31u) | 32u) + 63u));
        value >>= 5;
    }
    out.push_back(char(value + 63u));
}

void appendSigned(std::string& out, std::int32_t value) {
    const std::uint32_t v = static_cast<std::uint32_t>(value);
    const std::uint32_t sign = value < 0 ? 0xFFFFFFFFu : 0u;
    appendUnsigned(out, (v << 1) ^ sign);
}

// One value, or false when the text ends inside it. Arithmetic is modulo
// 2^32, so any byte sequence reads to some number.
bool readValue(std::string_view text, std::size_t& pos, std::int32_t& delta) {
    std::uint32_t r = 1;
    unsigned shift = 0;
    int b;
    do {
        if (pos >= text.size())
            return false;
        b = int(static_cast<unsigned char>(text[pos++])) - 64;
        if (shift < 32)
            r += static_cast<std::uint32_t>(b) << shift;
        shift += 5;
    } while (b > 30);
    const std::uint32_t d = (0u - (r & 1u)) ^ (r >> 1);
    delta = static_cast<std::int32_t>(d);
    return true;
}

} // namespace

std::string GMSPath::polylineEncodedUnsigned(std::uint32_t value) {
    std::string out;
    appendUnsigned(out, value);
    return out;
}

std::string GMSPath::polylineEncodedSigned(std::int32_t value) {
    std::string out;
    appendSigned(out, value);
    return out;
}

std::string GMSPath::encodedPath() const {
    std::string out;
    std::uint32_t prevLat = 0;
    std::uint32_t prevLng = 0;
    for (const CLLocationCoordinate2D& c : coordinates()) {
        const std::uint32_t lat = static_cast<std::uint32_t>(toE5(c.latitude));
        const std::uint32_t lng = static_cast<std::uint32_t>(toE5(c.longitude));
        appendSigned(out, static_cast<std::int32_t>(lat - prevLat));
        appendSigned(out, static_cast<std::int32_t>(lng - prevLng));
        prevLat = lat;
        prevLng = lng;
    }
    return out;
}

std::optional<GMSPath> GMSPath::pathFromEncodedPath(std::string_view encoded) {
    auto mutablePath = GMSMutablePath::pathFromEncodedPath(encoded);
    if (!mutablePath)
        return std::nullopt;
    return GMSPath(std::move(*mutablePath));
}

std::optional<GMSMutablePath> GMSMutablePath::pathFromEncodedPath(std::string_view encoded) {
    std::vector<CLLocationCoordinate2D> coords;
    double latSum = 0.0;
    double lngSum = 0.0;
    std::size_t pos = 0;
    while (pos < encoded.size()) {
        std::int32_t dLat = 0;
        std::int32_t dLng = 0;
        if (!readValue(encoded, pos, dLat) || !readValue(encoded, pos, dLng))
            return std::nullopt;
        latSum += dLat;
        lngSum += dLng;
        coords.push_back({latSum * 1e-5, lngSum * 1e-5});
    }
    return GMSMutablePath(std::move(coords));
}
