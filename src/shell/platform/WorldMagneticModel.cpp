#include "WorldMagneticModel.h"

#include <QFile>
#include <QList>
#include <QTextStream>

#include <cmath>
#include <numbers>

namespace {

constexpr double kRad = std::numbers::pi / 180.0;
// WGS84 ellipsoid, km.
constexpr double kSemiMajor = 6378.137;
constexpr double kFlattening = 1.0 / 298.257223563;
constexpr double kEccSquared = kFlattening * (2.0 - kFlattening);
// Reference radius of the expansion, km.
constexpr double kReferenceRadius = 6371.2;
// Highest degree a coefficient file may carry; guards against absurd input.
constexpr int kDegreeLimit = 64;

}  // namespace

std::optional<WorldMagneticModel> WorldMagneticModel::parse(const QByteArray& cof, QString* error) {
    auto fail = [error](const QString& why) -> std::optional<WorldMagneticModel> {
        if (error)
            *error = why;
        return std::nullopt;
    };

    const QList<QByteArray> lines = cof.split('\n');
    int lineNo = 0;
    WorldMagneticModel model;
    bool haveHeader = false;
    bool ended = false;
    struct Row { int n, m; double g, h, dg, dh; };
    std::vector<Row> rows;

    for (const QByteArray& raw : lines) {
        ++lineNo;
        const QByteArray line = raw.trimmed();
        if (line.isEmpty())
            continue;
        if (line.startsWith("9999")) {
            ended = true;
            break;
        }
        const QList<QByteArray> parts = line.simplified().split(' ');
        if (!haveHeader) {
            bool ok = false;
            model.epoch_ = parts.value(0).toDouble(&ok);
            if (!ok || parts.size() < 2 || model.epoch_ < 1900.0 || model.epoch_ > 2200.0)
                return fail(QStringLiteral("line %1: no model header (epoch, name)").arg(lineNo));
            model.name_ = QString::fromLatin1(parts.value(1));
            haveHeader = true;
            continue;
        }
        if (parts.size() < 6)
            return fail(QStringLiteral("line %1: expected n m g h dg dh").arg(lineNo));
        Row r{};
        bool ok[6] = {};
        r.n = parts[0].toInt(&ok[0]);
        r.m = parts[1].toInt(&ok[1]);
        r.g = parts[2].toDouble(&ok[2]);
        r.h = parts[3].toDouble(&ok[3]);
        r.dg = parts[4].toDouble(&ok[4]);
        r.dh = parts[5].toDouble(&ok[5]);
        for (bool b : ok)
            if (!b)
                return fail(QStringLiteral("line %1: not a number").arg(lineNo));
        if (r.n < 1 || r.n > kDegreeLimit || r.m < 0 || r.m > r.n)
            return fail(QStringLiteral("line %1: degree/order out of range").arg(lineNo));
        model.maxDegree_ = std::max(model.maxDegree_, r.n);
        rows.push_back(r);
    }
    if (!haveHeader)
        return fail(QStringLiteral("empty coefficient file"));
    if (!ended)
        return fail(QStringLiteral("coefficient file has no end marker"));
    if (rows.empty())
        return fail(QStringLiteral("coefficient file has no coefficients"));

    const int count = index(model.maxDegree_, model.maxDegree_) + 1;
    model.g_.assign(count, 0.0);
    model.h_.assign(count, 0.0);
    model.dg_.assign(count, 0.0);
    model.dh_.assign(count, 0.0);
    for (const Row& r : rows) {
        const int i = index(r.n, r.m);
        model.g_[i] = r.g;
        model.h_[i] = r.h;
        model.dg_[i] = r.dg;
        model.dh_[i] = r.dh;
    }
    return model;
}

const WorldMagneticModel* WorldMagneticModel::bundled() {
    static const std::optional<WorldMagneticModel> model = [] {
        Q_INIT_RESOURCE(platform_resources);
        QFile file(QStringLiteral(":/wmm/WMM2025.COF"));
        if (!file.open(QIODevice::ReadOnly)) {
            qWarning("World Magnetic Model resource missing; headings stay magnetic");
            return std::optional<WorldMagneticModel>{};
        }
        QString error;
        auto parsed = parse(file.readAll(), &error);
        if (!parsed)
            qWarning("World Magnetic Model resource unreadable: %s", qPrintable(error));
        return parsed;
    }();
    return model ? &*model : nullptr;
}

double WorldMagneticModel::decimalYear(const QDateTime& when) {
    const QDateTime utc = when.toUTC();
    const QDate date = utc.date();
    const double dayFraction = utc.time().msecsSinceStartOfDay() / 86400000.0;
    return date.year() + (date.dayOfYear() - 1 + dayFraction) / date.daysInYear();
}

WorldMagneticModel::Field WorldMagneticModel::field(double latitude, double longitude, double heightKm,
                                                    double decimalYear) const {
    Field out;
    out.outsideValidity = !isValidYear(decimalYear);

    // The sum has a 1/cos(latitude) in the east component; at the poles
    // themselves declination has no meaning, so stay a hair away from them.
    latitude = std::clamp(latitude, -89.999999, 89.999999);

    // Geodetic -> geocentric spherical on WGS84.
    const double phi = latitude * kRad;
    const double lambda = longitude * kRad;
    const double sinPhi = std::sin(phi);
    const double cosPhi = std::cos(phi);
    const double rc = kSemiMajor / std::sqrt(1.0 - kEccSquared * sinPhi * sinPhi);
    const double p = (rc + heightKm) * cosPhi;
    const double z = (rc * (1.0 - kEccSquared) + heightKm) * sinPhi;
    const double r = std::sqrt(p * p + z * z);
    const double phiC = std::asin(z / r);

    const int N = maxDegree_;
    const int count = index(N, N) + 1;
    const double dt = decimalYear - epoch_;

    // Schmidt semi-normalised associated Legendre functions of sin(phiC)
    // and their derivatives with respect to geocentric latitude.
    const double x = std::sin(phiC);
    const double s = std::cos(phiC);
    std::vector<double> P(count, 0.0), dP(count, 0.0), norm(count, 0.0);
    P[0] = 1.0;
    dP[0] = 0.0;
    for (int n = 1; n <= N; ++n) {
        for (int m = 0; m <= n; ++m) {
            const int i = index(n, m);
            if (n == m) {
                const int j = index(n - 1, m - 1);
                P[i] = s * P[j];
                dP[i] = s * dP[j] + x * P[j];
            } else if (n == 1 && m == 0) {
                P[i] = x * P[0];
                dP[i] = x * dP[0] - s * P[0];
            } else {
                const int j = index(n - 1, m);
                if (m > n - 2) {
                    P[i] = x * P[j];
                    dP[i] = x * dP[j] - s * P[j];
                } else {
                    const int k2 = index(n - 2, m);
                    const double k = double((n - 1) * (n - 1) - m * m) / double((2 * n - 1) * (2 * n - 3));
                    P[i] = x * P[j] - k * P[k2];
                    dP[i] = x * dP[j] - s * P[j] - k * dP[k2];
                }
            }
        }
    }
    norm[0] = 1.0;
    for (int n = 1; n <= N; ++n) {
        norm[index(n, 0)] = norm[index(n - 1, 0)] * double(2 * n - 1) / double(n);
        for (int m = 1; m <= n; ++m)
            norm[index(n, m)] = norm[index(n, m - 1)] * std::sqrt(double((n - m + 1) * (m == 1 ? 2 : 1)) / double(n + m));
    }
    for (int i = 0; i < count; ++i) {
        P[i] *= norm[i];
        dP[i] *= -norm[i];  // d/dθ (colatitude) -> d/dφ (latitude)
    }

    // Field in geocentric spherical components.
    double bx = 0.0, by = 0.0, bz = 0.0;
    const double ratio = kReferenceRadius / r;
    double radial = ratio * ratio;  // (a/r)^(n+2) starts at n = 0
    for (int n = 1; n <= N; ++n) {
        radial *= ratio;
        for (int m = 0; m <= n; ++m) {
            const int i = index(n, m);
            const double g = g_[i] + dt * dg_[i];
            const double h = h_[i] + dt * dh_[i];
            const double cosM = std::cos(m * lambda);
            const double sinM = std::sin(m * lambda);
            const double gc = g * cosM + h * sinM;
            bx -= radial * gc * dP[i];
            by += radial * (g * sinM - h * cosM) * m * P[i];
            bz -= radial * gc * (n + 1) * P[i];
        }
    }
    by /= s;

    // Rotate back to the geodetic frame.
    const double psi = phiC - phi;
    out.north = bx * std::cos(psi) - bz * std::sin(psi);
    out.east = by;
    out.down = bx * std::sin(psi) + bz * std::cos(psi);
    out.declination = std::atan2(out.east, out.north) / kRad;
    out.inclination = std::atan2(out.down, std::hypot(out.north, out.east)) / kRad;
    return out;
}
