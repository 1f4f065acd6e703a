#pragma once

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <functional>

namespace zltest {

// Collects every message Qt logs while it lives, so that a test can check
// that nothing unexpected was reported (or that an expected warning came).
// A warning logged while no capture lives fails the running test (see
// installWarningGuard): a test that expects a warning captures it.
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    QStringList messages() const;
    QStringList warnings() const;  // warnings, criticals and fatals only
    bool contains(const QString& text) const;
    void clear();
};

// Every test binary's main calls this: from then on a Qt warning or
// critical that no LogCapture takes fails the test during which it came.
void installWarningGuard();

// Path of a file in the source tree (tests/data/..., resources/...).
QString sourcePath(const QString& relative);

// Writes the bytes to a file, making its folder first; returns the path, or
// an empty text when the file can't be written.
QString writeFile(const QString& path, const QByteArray& bytes);
// The bytes of a file, or "<missing>" when it can't be read.
QByteArray readFile(const QString& path);

// Spins the event loop until pred() is true or timeoutMs has passed.
bool waitFor(const std::function<bool()>& pred, int timeoutMs = 5000);

}  // namespace zltest
