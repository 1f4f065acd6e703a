#pragma once

#include <QColor>
#include <QString>

#include <optional>

// Distances are kept in kilometres and converted only where they are shown
// or typed. The factors differ slightly between screens and are kept as
// they are, so a value may come back changed in its last digits.
namespace Units {
inline constexpr double kmToMiles = 0.621371192;          // azimuth, validation screens
inline constexpr double kmToMilesPtp = 0.6213712;         // point-to-point settings texts
inline constexpr double milesToKmDivisorPtp = 0.6213711922;  // maximum distance, stored as miles / this
inline constexpr double milesToKm = 1.609344;             // editors and point lists
}  // namespace Units

// Texts of numbers as the screens show them.
namespace Format {
// printf-style with a point as separator ("%.1f °, %.1f km" ...).
QString printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// A number in an edit field, through the locale (the separator may be a comma).
QString editField(double value, int decimals);
QString hexColor(int red, int green, int blue);               // "#%02X%02X%02X"
QString hexColorAlpha(int red, int green, int blue, int alpha);  // "#%02X%02X%02X%02X"
QString azimuthTitle(double azimuth, double distanceKm, bool imperial);
QString azimuthRow(double azimuth, double distanceKm, bool imperial, const QString& desc);
QString heading(double degrees);                               // "%.0f°"
QString labelAzimuth(const QString& label, double azimuth);    // "%@: %.1f°"
QString labelCoordinates(const QString& label, double latitude, double longitude);  // "%@: %.6f, %.6f"
}  // namespace Format

// Reads a numeric edit field: each "," becomes "." and the whole text must
// then be a number by the C library's strtod grammar (sign, digits, point,
// exponent, hexadecimal, inf, nan). A leading blank, anything after the
// number, or an empty text is not a number.
std::optional<double> readDecimalField(const QString& text);

// Reads a colour component field: a decimal integer, or nothing.
std::optional<int> readIntegerField(const QString& text);

namespace Palette {
// A label of a field in fault; a sound field's label is black.
inline QColor fault() { return QColor::fromRgbF(1.0f, 0.23137255f, 0.1882353f, 1.0f); }
inline QColor sound() { return QColor(Qt::black); }
// Section headers of the settings tables.
inline QColor sectionHeader() { return QColor::fromRgbF(0.33333334f, 0.33333334f, 0.33333334f); }
// The background of the "DELETE" row action.
inline QColor deleteAction() { return QColor::fromRgbF(0.74509805f, 0.15686275f, 0.07450981f); }
// Rows of file lists.
inline QColor fileRowHighlightedText() { return QColor::fromRgbF(0.81960785f, 0.827451f, 0.83137256f); }
inline QColor fileRowSelectedBackground() { return sectionHeader(); }
// A stored colour on the map: each component / 255.0, alpha 1.0.
QColor fromComponents(int red, int green, int blue);
}  // namespace Palette
