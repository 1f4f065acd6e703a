#include "testsupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QThread>

#include <gtest/gtest.h>

namespace zltest {
namespace {

QMutex g_mutex;
QList<QPair<QtMsgType, QString>> g_messages;  // while a LogCapture lives
QStringList g_unexpected;                      // warnings nobody captured
int g_captures = 0;
bool g_installed = false;
QtMessageHandler g_previous = nullptr;

bool isWarning(QtMsgType type) { return type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg; }

// What the machine says, not the code under test: a test box without a
// session bus or a runtime folder.
bool isEnvironmentNoise(const QString& msg) {
    return msg.contains(QLatin1String("XDG_RUNTIME_DIR")) ||
           msg.contains(QLatin1String("This plugin does not support propagateSizeHints"));
}

void handler(QtMsgType type, const QMessageLogContext& ctx, const QString& msg) {
    bool captured;
    {
        QMutexLocker lock(&g_mutex);
        captured = g_captures > 0;
        if (captured)
            g_messages.append({type, msg});
        else if (isWarning(type) && !isEnvironmentNoise(msg))
            g_unexpected.append(msg);
    }
    if ((!captured || qEnvironmentVariableIsSet("ZENLOFT_TEST_VERBOSE")) && g_previous) g_previous(type, ctx, msg);
}

void install() {
    if (g_installed) return;
    g_installed = true;
    g_previous = qInstallMessageHandler(handler);
}

// Fails the test that logged a warning it did not capture.
class WarningGuard : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo&) override {
        QMutexLocker lock(&g_mutex);
        g_unexpected.clear();
    }
    void OnTestEnd(const ::testing::TestInfo&) override {
        QStringList unexpected;
        {
            QMutexLocker lock(&g_mutex);
            unexpected.swap(g_unexpected);
        }
        if (!unexpected.isEmpty())
            ADD_FAILURE() << "unexpected warning in the log (capture it with zltest::LogCapture if the test expects "
                             "it):\n  "
                          << unexpected.join(QStringLiteral("\n  ")).toStdString();
    }
};

}  // namespace

void installWarningGuard() {
    {
        QMutexLocker lock(&g_mutex);
        install();
    }
    ::testing::UnitTest::GetInstance()->listeners().Append(new WarningGuard);
}

LogCapture::LogCapture() {
    QMutexLocker lock(&g_mutex);
    install();
    if (g_captures++ == 0) g_messages.clear();
}

LogCapture::~LogCapture() {
    QMutexLocker lock(&g_mutex);
    --g_captures;
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
