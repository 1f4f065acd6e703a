#include "mapservice_child.h"

#include <QRegularExpression>

namespace zltest {

QUrl MapServiceChild::start(const QString& program, const QStringList& arguments, int timeoutMs)
{
    stop();
    m_endpoint = QUrl();
    m_error.clear();
    m_out.clear();
    m_err.clear();
    m_process.setProgram(program);
    m_process.setArguments(QStringList{"--address", "127.0.0.1", "--port", "0"} + arguments);
    m_process.start();
    if (!m_process.waitForStarted(timeoutMs)) {
        m_error = program + QStringLiteral(" did not start: ") + m_process.errorString();
        return {};
    }
    const QRegularExpression re(QStringLiteral("endpoint (\\S+)"));
    QRegularExpressionMatch match;
    for (;;) {
        drain();
        match = re.match(QString::fromUtf8(m_out));
        if (match.hasMatch() || !m_process.waitForReadyRead(timeoutMs))
            break;
    }
    drain();
    if (!match.hasMatch()) {
        m_error = QStringLiteral("no endpoint from the map service; it printed:\n") + QString::fromUtf8(m_out) +
                  QString::fromUtf8(m_err);
        stop();
        return {};
    }
    m_endpoint = QUrl(match.captured(1));
    return m_endpoint;
}

void MapServiceChild::stop()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.terminate();
        if (!m_process.waitForFinished(10000))
            m_process.kill();
        m_process.waitForFinished(5000);
    }
    drain();
}

QString MapServiceChild::standardOutput()
{
    drain();
    return QString::fromUtf8(m_out);
}

QString MapServiceChild::standardError()
{
    drain();
    return QString::fromUtf8(m_err);
}

void MapServiceChild::drain()
{
    if (!m_process.isOpen())  // never started: nothing to read
        return;
    m_out += m_process.readAllStandardOutput();
    m_err += m_process.readAllStandardError();
}

}  // namespace zltest
