#pragma once

#include <vector>

// A colour as four components in [0, 1]. Plain data so that the geometry
// library stays free of any UI toolkit; the map view converts it.
struct GMSColor {
    double red = 0.0;
    double green = 0.0;
    double blue = 0.0;
    double alpha = 1.0;

    friend bool operator==(const GMSColor&, const GMSColor&) = default;
};

// How a stretch of a polyline is stroked: one colour, or a gradient from one
// colour to another along the stretch. A stamp style draws an image along
// the line and needs the newer renderer.
struct GMSStrokeStyle {
    GMSColor fromColor;
    GMSColor toColor;
    bool isStamp = false;

    static GMSStrokeStyle solidColor(GMSColor color) { return {color, color, false}; }
    static GMSStrokeStyle gradientFromColor(GMSColor from, GMSColor to) { return {from, to, false}; }
    bool isGradient() const { return !(fromColor == toColor); }

    friend bool operator==(const GMSStrokeStyle&, const GMSStrokeStyle&) = default;
};

// A style over a number of segments of a polyline; segments may be
// fractional, and spans ending inside a segment split it.
class GMSStyleSpan {
public:
    static GMSStyleSpan spanWithColor(GMSColor color) { return GMSStyleSpan(GMSStrokeStyle::solidColor(color), 1.0); }
    static GMSStyleSpan spanWithColor(GMSColor color, double segments) {
        return GMSStyleSpan(GMSStrokeStyle::solidColor(color), segments);
    }
    static GMSStyleSpan spanWithStyle(GMSStrokeStyle style) { return GMSStyleSpan(style, 1.0); }
    static GMSStyleSpan spanWithStyle(GMSStrokeStyle style, double segments) { return GMSStyleSpan(style, segments); }

    const GMSStrokeStyle& style() const { return style_; }
    double segments() const { return segments_; }

    friend bool operator==(const GMSStyleSpan&, const GMSStyleSpan&) = default;

private:
    GMSStyleSpan(GMSStrokeStyle style, double segments) : style_(style), segments_(segments) {}

    GMSStrokeStyle style_;
    double segments_ = 1.0;
};
