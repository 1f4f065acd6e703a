#pragma once

// Storage behind GMSPath: the coordinates and the lazily filled cumulative
// lengths of each kind.

#include <array>
#include <atomic>
#include <mutex>
#include <vector>

#include "CLLocationCoordinate2D.h"

namespace gms_detail {

struct PathData {
    PathData() = default;
    explicit PathData(std::vector<CLLocationCoordinate2D> c) : coords(std::move(c)) {}

    std::vector<CLLocationCoordinate2D> coords;

    // One array per length kind, empty until computed. `ready` publishes a
    // filled array to readers on other threads; `fillMutex` makes two
    // concurrent first readers compute it once.
    mutable std::array<std::vector<double>, 3> lengths;
    mutable std::array<std::atomic<bool>, 3> ready{};
    mutable std::mutex fillMutex;

    void clearLengths() {
        for (std::size_t k = 0; k < lengths.size(); ++k) {
            ready[k].store(false, std::memory_order_relaxed);
            lengths[k].clear();
        }
    }
};

// The three cumulative measures; each returns coords.size() values (one 0
// for an empty list).
std::vector<double> cumulativeGeodesic(const std::vector<CLLocationCoordinate2D>& coords);
std::vector<double> cumulativeRhumb(const std::vector<CLLocationCoordinate2D>& coords);
std::vector<double> cumulativeProjected(const std::vector<CLLocationCoordinate2D>& coords);

} // namespace gms_detail
