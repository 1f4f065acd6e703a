#pragma once

#include <QDateTime>
#include <QElapsedTimer>
#include <QtGlobal>

// Milliseconds for timing requests and ageing identity records. Tests give
// the connection a clock they move by hand.
class GMSTimingClock {
public:
    virtual ~GMSTimingClock() = default;
    virtual qint64 currentTimeMillis() const = 0;
    // Wall time, seconds since 2001-01-01 UTC (the cookie record's scale).
    virtual double secondsSinceReferenceDate() const
    {
        static const qint64 reference = QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
        return double(QDateTime::currentMSecsSinceEpoch() - reference) / 1000.0;
    }
};

class GMSSystemTimingClock : public GMSTimingClock {
public:
    qint64 currentTimeMillis() const override { return QDateTime::currentMSecsSinceEpoch(); }
};

class GMSManualTimingClock : public GMSTimingClock {
public:
    qint64 currentTimeMillis() const override { return m_ms; }
    double secondsSinceReferenceDate() const override { return m_reference; }
    void setMillis(qint64 ms) { m_ms = ms; }
    void setSecondsSinceReferenceDate(double s) { m_reference = s; }

private:
    qint64 m_ms = 0;
    double m_reference = 0;
};
