#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace zltest {

// The real map service executable as a child process, listening on an
// ephemeral loopback port. Stopped (terminate, then kill) when destroyed.
class MapServiceChild {
public:
    MapServiceChild() = default;
    MapServiceChild(const MapServiceChild&) = delete;
    MapServiceChild& operator=(const MapServiceChild&) = delete;
    ~MapServiceChild() { stop(); }

    // Starts program with "--address 127.0.0.1 --port 0" and the given
    // arguments, and waits up to timeoutMs for the "endpoint <url>" line it
    // prints once it listens. An empty URL if it did not get there; error()
    // then says why, with what the child printed.
    QUrl start(const QString& program, const QStringList& arguments, int timeoutMs = 10000);
    // Asks the child to end, kills it if it will not; keeps what it printed.
    void stop();
    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }

    QUrl endpoint() const { return m_endpoint; }
    QString error() const { return m_error; }
    // Everything the child printed so far.
    QString standardOutput();
    QString standardError();

private:
    void drain();

    QProcess m_process;
    QUrl m_endpoint;
    QString m_error;
    QByteArray m_out;
    QByteArray m_err;
};

}  // namespace zltest
