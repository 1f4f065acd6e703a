#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

// The main field of the World Magnetic Model: a spherical-harmonic expansion
// with a linear secular variation, read from the model's coefficient file
// (".COF"). The bundled model is WMM2025, valid from 2025.0 to 2030.0; other
// dates are still computed by extrapolating the secular variation, and the
// result says so.
class WorldMagneticModel {
public:
    struct Field {
        double north = 0.0;  // X, nT
        double east = 0.0;   // Y, nT
        double down = 0.0;   // Z, nT
        double declination = 0.0;  // degrees, east positive
        double inclination = 0.0;  // degrees, down positive
        bool outsideValidity = false;
    };

    // Parses a coefficient file. Returns no model, and sets *error, for a
    // file that is not one.
    static std::optional<WorldMagneticModel> parse(const QByteArray& cof, QString* error = nullptr);

    // The model embedded in the application (":/wmm/WMM2025.COF"), parsed
    // once. Null only if the resource is missing from the build.
    static const WorldMagneticModel* bundled();

    // Field at a geodetic position (WGS84 degrees, height in km above the
    // ellipsoid) and decimal year.
    Field field(double latitude, double longitude, double heightKm, double decimalYear) const;

    double declination(double latitude, double longitude, double heightKm, double decimalYear) const {
        return field(latitude, longitude, heightKm, decimalYear).declination;
    }

    double epoch() const { return epoch_; }
    QString name() const { return name_; }
    int maxDegree() const { return maxDegree_; }
    bool isValidYear(double decimalYear) const {
        return decimalYear >= epoch_ && decimalYear <= epoch_ + 5.0;
    }

    // 2026-07-02T12:00Z -> 2026.5, counting the days of that very year.
    static double decimalYear(const QDateTime& when);

private:
    WorldMagneticModel() = default;
    static int index(int n, int m) { return n * (n + 1) / 2 + m; }

    double epoch_ = 0.0;
    QString name_;
    int maxDegree_ = 0;
    // Indexed by index(n, m); nT and nT/year.
    std::vector<double> g_, h_, dg_, dh_;
};
