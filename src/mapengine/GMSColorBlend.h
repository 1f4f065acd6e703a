#pragma once

#include <QColor>
#include <QImage>

#include <array>

// The non-separable "color" blend: hue and saturation of the source with the
// luminosity of the backdrop, B(Cb, Cs) = SetLum(Cs, Lum(Cb)). QPainter has
// no such composition mode, so it is done here, in double precision.
namespace gms_blend {

using RGB = std::array<double, 3>;  // components in [0, 1]

double lum(const RGB& c);
RGB clipColor(const RGB& c);
RGB setLum(const RGB& c, double l);
// B(Cb, Cs) of the color mode.
RGB colorBlend(const RGB& backdrop, const RGB& source);

// One pixel of a tinted marker: the backdrop pixel (straight alpha) under a
// fill of `color` in color mode, then masked by the backdrop's own alpha
// (destination-in). Returns straight RGBA in [0, 1].
std::array<double, 4> tintPixel(const std::array<double, 4>& backdrop, const std::array<double, 4>& color);

}  // namespace gms_blend

// The whole image: fill with `color` in color mode over `image`, then keep
// only the silhouette of `image`. A null image gives a null image.
QImage GMSTintImageWithColor(const QImage& image, const QColor& color);
