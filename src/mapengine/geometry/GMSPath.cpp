#include "GMSPath.h"

#include <algorithm>

#include "GMSCoordinateBounds.h"
#include "GMSGeometryMath.h"
#include "GMSMapPoint.h"
#include "GMSPathData.h"

using gms_detail::PathData;

namespace {
const std::vector<double>& emptyLengths() {
    static const std::vector<double> empty;
    return empty;
}

// One storage shared by every empty path, so that making or moving from a
// path never allocates; the first change copies it away like any shared one.
std::shared_ptr<PathData> emptyData() {
    static const std::shared_ptr<PathData> empty = std::make_shared<PathData>();
    return empty;
}
} // namespace

GMSPath::GMSPath() : data_(emptyData()) {}

GMSPath::GMSPath(std::initializer_list<CLLocationCoordinate2D> coordinates)
    : data_(std::make_shared<PathData>(std::vector<CLLocationCoordinate2D>(coordinates))) {}

GMSPath::GMSPath(std::vector<CLLocationCoordinate2D> coordinates)
    : data_(std::make_shared<PathData>(std::move(coordinates))) {}

GMSPath::GMSPath(std::shared_ptr<PathData> data) : data_(std::move(data)) {}

// A moved-from path stays a valid empty path.
GMSPath::GMSPath(GMSPath&& other) noexcept : data_(std::move(other.data_)) {
    other.data_ = emptyData();
}

GMSPath& GMSPath::operator=(GMSPath&& other) noexcept {
    if (this != &other) {
        data_ = std::move(other.data_);
        other.data_ = emptyData();
    }
    return *this;
}

GMSPath::~GMSPath() = default;

std::size_t GMSPath::count() const { return data_->coords.size(); }

CLLocationCoordinate2D GMSPath::coordinateAtIndex(std::size_t index) const {
    return index < data_->coords.size() ? data_->coords[index] : kCLLocationCoordinate2DInvalid;
}

const std::vector<CLLocationCoordinate2D>& GMSPath::coordinates() const { return data_->coords; }

GMSMutablePath GMSPath::mutableCopy() const { return GMSMutablePath(*this); }

PathData& GMSPath::mutableData() {
    if (data_.use_count() > 1)
        data_ = std::make_shared<PathData>(data_->coords);
    else
        data_->clearLengths();
    return *data_;
}

void GMSPath::clearCache() {
    // Another copy may be reading the shared cache; give this value a fresh
    // storage instead of emptying arrays under it.
    if (data_.use_count() > 1)
        data_ = std::make_shared<PathData>(data_->coords);
    else
        data_->clearLengths();
}

const std::vector<double>& GMSPath::cummulativeLengthsOfKind(GMSLengthKind kind) const {
    if (kind > kGMSLengthProjected)
        return emptyLengths();
    const PathData& d = *data_;
    if (d.ready[kind].load(std::memory_order_acquire))
        return d.lengths[kind];
    std::lock_guard lock(d.fillMutex);
    if (!d.ready[kind].load(std::memory_order_relaxed)) {
        switch (kind) {
        case kGMSLengthGeodesic: d.lengths[kind] = gms_detail::cumulativeGeodesic(d.coords); break;
        case kGMSLengthRhumb: d.lengths[kind] = gms_detail::cumulativeRhumb(d.coords); break;
        case kGMSLengthProjected: d.lengths[kind] = gms_detail::cumulativeProjected(d.coords); break;
        }
        d.ready[kind].store(true, std::memory_order_release);
    }
    return d.lengths[kind];
}

double GMSPath::lengthOfKind(GMSLengthKind kind) const {
    if (kind > kGMSLengthProjected || count() == 0)
        return 0.0;
    return cummulativeLengthsOfKind(kind).back();
}

double GMSPath::segmentsForLength(double length, GMSLengthKind kind) const {
    if (!(length > 0.0) || kind > kGMSLengthProjected)
        return 0.0;
    const auto& coords = data_->coords;
    if (coords.empty())
        return 0.0;
    const std::vector<double>& c = cummulativeLengthsOfKind(kind);
    const auto it = std::upper_bound(c.begin(), c.end(), length);
    if (it == c.end())
        return double(coords.size() - 1);
    const std::size_t i = std::size_t(it - c.begin()) - 1; // c[0] is 0 < length
    double f = (length - c[i]) / (c[i + 1] - c[i]);
    if (kind == kGMSLengthProjected) {
        const double lat1 = coords[i].latitude * kGMSDegreesToRadians;
        const double lat2 = coords[i + 1].latitude * kGMSDegreesToRadians;
        if (std::fabs(lat2 - lat1) >= 1e-10) {
            const double m1 = gms_detail::mercator(lat1);
            const double m2 = gms_detail::mercator(lat2);
            f = (gms_detail::mercator(lat1 + f * (lat2 - lat1)) - m1) / (m2 - m1);
        }
    }
    return double(i) + f;
}

GMSPath GMSPath::pathOffsetByLatitude(double dLat, double dLng) const {
    std::vector<CLLocationCoordinate2D> out(data_->coords);
    for (auto& c : out) {
        c.latitude += dLat;
        c.longitude += dLng;
    }
    return GMSPath(std::move(out));
}

GMSCoordinateBounds GMSPath::bounds() const { return GMSCoordinateBounds(*this); }

// ---- GMSMutablePath ----

GMSMutablePath::GMSMutablePath(std::initializer_list<CLLocationCoordinate2D> coordinates) : GMSPath(coordinates) {}

GMSMutablePath::GMSMutablePath(std::vector<CLLocationCoordinate2D> coordinates) : GMSPath(std::move(coordinates)) {}

// Shares the storage until the first change (copy-on-write).
GMSMutablePath::GMSMutablePath(const GMSPath& path) : GMSPath(path) {}

void GMSMutablePath::addCoordinate(CLLocationCoordinate2D coordinate) { mutableData().coords.push_back(coordinate); }

void GMSMutablePath::addLatitude(double latitude, double longitude) { addCoordinate({latitude, longitude}); }

bool GMSMutablePath::insertCoordinate(CLLocationCoordinate2D coordinate, std::size_t index) {
    if (index < count()) {
        auto& coords = mutableData().coords;
        coords.insert(coords.begin() + std::ptrdiff_t(index), coordinate);
        return true;
    }
    return replaceCoordinateAtIndex(index, coordinate);
}

bool GMSMutablePath::replaceCoordinateAtIndex(std::size_t index, CLLocationCoordinate2D coordinate) {
    if (index >= count() && index >= kMaxPaddedCount)
        return false;
    auto& coords = mutableData().coords;
    if (index < coords.size()) {
        coords[index] = coordinate;
        return true;
    }
    // Writing past the end pads with (0, 0) points on purpose.
    coords.resize(index, CLLocationCoordinate2D{0.0, 0.0});
    coords.push_back(coordinate);
    return true;
}

void GMSMutablePath::removeCoordinateAtIndex(std::size_t index) {
    if (index >= count())
        return;
    auto& coords = mutableData().coords;
    coords.erase(coords.begin() + std::ptrdiff_t(index));
}

void GMSMutablePath::removeLastCoordinate() {
    if (count() == 0)
        return;
    mutableData().coords.pop_back();
}

void GMSMutablePath::removeAllCoordinates() { mutableData().coords.clear(); }

GMSMutablePath GMSMutablePath::pathOffsetByLatitude(double dLat, double dLng) const {
    return GMSMutablePath(GMSPath::pathOffsetByLatitude(dLat, dLng));
}
