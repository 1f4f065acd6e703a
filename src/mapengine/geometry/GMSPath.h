#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "CLLocationCoordinate2D.h"
#include "GMSCoordinateBounds.h"

class GMSMutablePath;

// How a length along a path is measured.
enum GMSLengthKind : unsigned {
    kGMSLengthGeodesic = 0,  // metres along great circles
    kGMSLengthRhumb = 1,     // metres along rhumb lines
    kGMSLengthProjected = 2, // units of the normalised world square
};

namespace gms_detail {
struct PathData;
}

// An ordered list of coordinates. A cheap value: copies share one immutable
// storage (copy-on-write for GMSMutablePath), so overlays can keep their own
// copy at no cost and a mutable path changed later never alters them.
//
// The cumulative lengths are cached per storage and filled lazily. Filling is
// guarded, so copies read on several threads are safe; clearing the cache or
// mutating while another thread reads the same object is not.
class GMSPath {
public:
    GMSPath();
    GMSPath(std::initializer_list<CLLocationCoordinate2D> coordinates);
    explicit GMSPath(std::vector<CLLocationCoordinate2D> coordinates);
    // initWithPath: shares the coordinates of the given path.
    GMSPath(const GMSPath&) = default;
    GMSPath(GMSPath&&) noexcept;
    GMSPath& operator=(const GMSPath&) = default;
    GMSPath& operator=(GMSPath&&) noexcept;
    ~GMSPath();

    static GMSPath path() { return GMSPath(); }

    std::size_t count() const;
    // The coordinate, or kCLLocationCoordinate2DInvalid when out of range.
    CLLocationCoordinate2D coordinateAtIndex(std::size_t index) const;
    const std::vector<CLLocationCoordinate2D>& coordinates() const;

    // copyWithZone: an immutable path with the same storage.
    GMSPath copy() const { return GMSPath(*this); }
    // mutableCopyWithZone:
    GMSMutablePath mutableCopy() const;

    // --- Encoded polyline text ---
    std::string encodedPath() const;
    // Absent when the text ends inside a value or inside a coordinate pair.
    static std::optional<GMSPath> pathFromEncodedPath(std::string_view encoded);
    static std::string polylineEncodedSigned(std::int32_t value);
    static std::string polylineEncodedUnsigned(std::uint32_t value);

    // --- Lengths ---
    // Last cumulative value; 0 for a kind above 2 or an empty path.
    double lengthOfKind(GMSLengthKind kind) const;
    // Position along the path, in segments (integer part: segment index,
    // fraction: place inside it), at which `length` is reached. 0 for a
    // length that is not positive, a kind above 2 or an empty path; count - 1
    // past the end.
    double segmentsForLength(double length, GMSLengthKind kind) const;
    // count() values (a single 0 for an empty path); value i is the length up
    // to coordinate i. Returns a reference to the cache. A kind above 2 gives
    // an empty array.
    const std::vector<double>& cummulativeLengthsOfKind(GMSLengthKind kind) const;
    // Empties the three cached arrays.
    void clearCache();

    // A new path with the deltas added to every coordinate, not normalised.
    GMSPath pathOffsetByLatitude(double deltaLatitude, double deltaLongitude) const;

    GMSCoordinateBounds bounds() const;

    // Generators. Absent for a negative (or NaN) radius or an invalid centre,
    // and for invalid bounds.
    static std::optional<GMSMutablePath> circlePathWithCenter(CLLocationCoordinate2D center, double radiusMeters);
    static std::optional<GMSMutablePath> rectanglePathWithBounds(const GMSCoordinateBounds& bounds);

    // True when both values share one storage (the same object, in the sense
    // of copyWithZone:).
    bool isSameStorage(const GMSPath& other) const { return data_ == other.data_; }

protected:
    explicit GMSPath(std::shared_ptr<gms_detail::PathData> data);
    // Makes the storage ours alone before a change, and empties its cache.
    gms_detail::PathData& mutableData();

    std::shared_ptr<gms_detail::PathData> data_;
};

// A path whose coordinates can change. Every change empties the length cache.
// Assigning it to a GMSPath takes a snapshot.
class GMSMutablePath : public GMSPath {
public:
    GMSMutablePath() = default;
    GMSMutablePath(std::initializer_list<CLLocationCoordinate2D> coordinates);
    explicit GMSMutablePath(std::vector<CLLocationCoordinate2D> coordinates);
    // initWithPath:
    explicit GMSMutablePath(const GMSPath& path);

    static GMSMutablePath path() { return GMSMutablePath(); }
    static std::optional<GMSMutablePath> pathFromEncodedPath(std::string_view encoded);

    // No validation: any numbers are stored.
    void addCoordinate(CLLocationCoordinate2D coordinate);
    void addLatitude(double latitude, double longitude);
    // Inserts before `index` when index < count, otherwise behaves as
    // replaceCoordinateAtIndex (which pads).
    bool insertCoordinate(CLLocationCoordinate2D coordinate, std::size_t index);
    // Overwrites when index < count; otherwise appends (0, 0) until count
    // equals index, then appends the coordinate. Padding that would take the
    // path beyond kMaxPaddedCount coordinates is refused (returns false, the
    // path stays as it was) instead of exhausting memory.
    bool replaceCoordinateAtIndex(std::size_t index, CLLocationCoordinate2D coordinate);
    static constexpr std::size_t kMaxPaddedCount = std::size_t(1) << 26;
    // Out of range does nothing and keeps the cache.
    void removeCoordinateAtIndex(std::size_t index);
    void removeLastCoordinate();
    void removeAllCoordinates();

    GMSMutablePath pathOffsetByLatitude(double deltaLatitude, double deltaLongitude) const;
};
