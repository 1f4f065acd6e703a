#include "GMSColorBlend.h"

#include <algorithm>
#include <cmath>

namespace gms_blend {

double lum(const RGB& c) { return 0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2]; }

RGB clipColor(const RGB& c) {
    const double l = lum(c);
    const double n = std::min({c[0], c[1], c[2]});
    const double x = std::max({c[0], c[1], c[2]});
    RGB r = c;
    if (n < 0.0)
        for (double& v : r) v = l + (v - l) * l / (l - n);
    if (x > 1.0)
        for (double& v : r) v = l + (v - l) * (1.0 - l) / (x - l);
    return r;
}

RGB setLum(const RGB& c, double l) {
    const double d = l - lum(c);
    return clipColor({c[0] + d, c[1] + d, c[2] + d});
}

RGB colorBlend(const RGB& backdrop, const RGB& source) { return setLum(source, lum(backdrop)); }

std::array<double, 4> tintPixel(const std::array<double, 4>& b, const std::array<double, 4>& s) {
    const double ab = b[3], as = s[3];
    const RGB mixed = colorBlend({b[0], b[1], b[2]}, {s[0], s[1], s[2]});
    // Source-over with the blend function, premultiplied result.
    const double ao = as + ab * (1.0 - as);
    std::array<double, 4> premul{};
    for (int i = 0; i < 3; ++i)
        premul[i] = as * (1.0 - ab) * s[i] + as * ab * mixed[i] + (1.0 - as) * ab * b[i];
    // Destination-in with the backdrop image: everything scales by its alpha.
    const double af = ao * ab;
    std::array<double, 4> out{0.0, 0.0, 0.0, af};
    if (af > 0.0)
        for (int i = 0; i < 3; ++i) out[i] = std::clamp(premul[i] * ab / af, 0.0, 1.0);
    return out;
}

}  // namespace gms_blend

QImage GMSTintImageWithColor(const QImage& image, const QColor& color) {
    if (image.isNull()) return {};
    const QImage src = image.convertToFormat(QImage::Format_ARGB32);
    QImage out(src.size(), QImage::Format_ARGB32);
    out.setDevicePixelRatio(image.devicePixelRatio());
    const std::array<double, 4> c{color.redF(), color.greenF(), color.blueF(), color.alphaF()};
    for (int y = 0; y < src.height(); ++y) {
        const QRgb* in = reinterpret_cast<const QRgb*>(src.constScanLine(y));
        QRgb* o = reinterpret_cast<QRgb*>(out.scanLine(y));
        for (int x = 0; x < src.width(); ++x) {
            const QRgb p = in[x];
            if (qAlpha(p) == 0) {
                o[x] = 0;
                continue;
            }
            const auto r = gms_blend::tintPixel(
                {qRed(p) / 255.0, qGreen(p) / 255.0, qBlue(p) / 255.0, qAlpha(p) / 255.0}, c);
            o[x] = qRgba(int(std::lround(r[0] * 255.0)), int(std::lround(r[1] * 255.0)),
                         int(std::lround(r[2] * 255.0)), int(std::lround(r[3] * 255.0)));
        }
    }
    return out;
}
