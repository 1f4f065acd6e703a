#include "testsupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QThread>

namespace zltest {
namespace {

QMutex g_mutex;
QList<QPair<QtMsgType, QString>> g_messages;
int g_captures = 0;
QtMessageHandler g_previous = nullptr;

void handler(QtMsgType type, const QMessageLogContext& ctx, const QString& msg) {
    {
        QMutexLocker lock(&g_mutex);
        g_messages.append({type, msg});
    }
    if (qEnvironmentVariableIsSet("ZENLOFT_TEST_VERBOSE") && g_previous) g_previous(type, ctx, msg);
}

}  // namespace

LogCapture::LogCapture() {
    QMutexLocker lock(&g_mutex);
    if (g_captures++ == 0) {
        g_messages.clear();
        g_previous = qInstallMessageHandler(handler);
    }
}

LogCapture::~LogCapture() {
    QMutexLocker lock(&g_mutex);
    if (--g_captures == 0) qInstallMessageHandler(g_previous);
}

QStringList LogCapture::messages() const {
    QMutexLocker lock(&g_mutex);
    QStringList out;
    for (const auto& m : g_messages) out << m.second;
    return out;
}

QStringList LogCapture::warnings() const {
    QMutexLocker lock(&g_mutex);
    QStringList out;
    for (const auto& m : g_messages)
        if (m.first == QtWarningMsg || m.first == QtCriticalMsg || m.first == QtFatalMsg) out << m.second;
    return out;
}

bool LogCapture::contains(const QString& text) const {
    for (const QString& m : messages())
        if (m.contains(text)) return true;
    return false;
}

void LogCapture::clear() {
    QMutexLocker lock(&g_mutex);
    g_messages.clear();
}

QString sourcePath(const QString& relative) {
    QString root = qEnvironmentVariable("ZENLOFT_SOURCE_DIR");
    if (root.isEmpty()) root = QStringLiteral(ZENLOFT_SOURCE_DIR_FALLBACK);
    return QDir(root).filePath(relative);
}

QString writeFile(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size() ? path : QString();
}

QByteArray readFile(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray("<missing>");
}

bool waitFor(const std::function<bool()>& pred, int timeoutMs) {
    QDeadlineTimer deadline(timeoutMs);
    while (!pred()) {
        if (deadline.hasExpired()) return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QThread::msleep(1);
    }
    return true;
}

}  // namespace zltest
