#include "Units.h"

#include <QLocale>

#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <locale.h>

namespace Format {

// The C library's own formatting, so that halves round as the platform's
// printf rounds them ("%.1f" of 1.25 is "1.2"). Numbers always take a point.
QString printf(const char* format, ...) {
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    const locale_t previous = uselocale(cLocale);
    char buffer[256];
    va_list ap;
    va_start(ap, format);
    const int n = std::vsnprintf(buffer, sizeof buffer, format, ap);
    va_end(ap);
    QString s;
    if (n >= int(sizeof buffer)) {
        QByteArray big(n + 1, Qt::Uninitialized);
        va_start(ap, format);
        std::vsnprintf(big.data(), size_t(big.size()), format, ap);
        va_end(ap);
        s = QString::fromUtf8(big.constData(), n);
    } else if (n > 0) {
        s = QString::fromUtf8(buffer, n);
    }
    uselocale(previous);
    return s;
}

QString editField(double value, int decimals) {
    QLocale locale;
    locale.setNumberOptions(QLocale::OmitGroupSeparator);
    return locale.toString(value, 'f', decimals);
}

QString hexColor(int red, int green, int blue) {
    return Format::printf("#%02X%02X%02X", red, green, blue);
}

QString hexColorAlpha(int red, int green, int blue, int alpha) {
    return Format::printf("#%02X%02X%02X%02X", red, green, blue, alpha);
}

QString azimuthTitle(double azimuth, double distanceKm, bool imperial) {
    return imperial ? Format::printf("%.1f °, %.1f mi", azimuth, distanceKm * Units::kmToMiles)
                    : Format::printf("%.1f °, %.1f km", azimuth, distanceKm);
}

QString azimuthRow(double azimuth, double distanceKm, bool imperial, const QString& desc) {
    if (desc.isEmpty()) return azimuthTitle(azimuth, distanceKm, imperial);
    return imperial ? Format::printf("%.1f °, %.1f mi: ", azimuth, distanceKm * Units::kmToMiles) + desc
                    : Format::printf("%.1f °, %.1f km: ", azimuth, distanceKm) + desc;
}

QString heading(double degrees) { return Format::printf("%.0f°", degrees); }

QString labelAzimuth(const QString& label, double azimuth) { return label + Format::printf(": %.1f°", azimuth); }

QString labelCoordinates(const QString& label, double latitude, double longitude) {
    return label + Format::printf(": %.6f, %.6f", latitude, longitude);
}

}  // namespace Format

std::optional<double> readDecimalField(const QString& text) {
    QString t = text;
    t.replace(QLatin1Char(','), QLatin1Char('.'));
    if (t.isEmpty() || t.at(0).isSpace()) return std::nullopt;
    for (QChar c : t)
        if (c.unicode() == 0 || c.unicode() > 0x7f) return std::nullopt;  // strtod stops there
    const QByteArray bytes = t.toLatin1();
    static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t(nullptr));
    char* end = nullptr;
    const double value = strtod_l(bytes.constData(), &end, cLocale);
    if (end == bytes.constData() || end != bytes.constData() + bytes.size()) return std::nullopt;
    return value;
}

std::optional<int> readIntegerField(const QString& text) {
    bool ok = false;
    const int v = text.toInt(&ok, 10);
    if (!ok) return std::nullopt;
    return v;
}

namespace Palette {
QColor fromComponents(int red, int green, int blue) {
    return QColor::fromRgbF(float(red / 255.0), float(green / 255.0), float(blue / 255.0), 1.0f);
}
}  // namespace Palette
