#pragma once

#include <string>

#include "GMUKMLParser.h"

namespace kmltest {

inline GMUKMLParser parsed(std::string kml) {
    auto parser = GMUKMLParser::withData(std::move(kml));
    parser.parse();
    return parser;
}

inline std::string doc(const std::string& body) {
    return "<?xml version=\"1.0\"?>\n<kml><Document>" + body + "</Document></kml>";
}

inline CLLocationCoordinate2D ll(double latitude, double longitude) {
    return {latitude, longitude};
}

} // namespace kmltest
