#pragma once

#include <QByteArray>
#include <QString>

// Error domains the connection reports in.
inline const QString kGMSDASHConnectionErrorDomain = QStringLiteral("GMSDASHConnectionErrorDomain");
inline const QString kGenericServerErrorDomain = QStringLiteral("kGenericServerErrorDomain");
inline const QString kGMSDASHHTTPErrorDomain = QStringLiteral("GMSDASHHTTPErrorDomain");
inline const QString kGMSDASHURLErrorDomain = QStringLiteral("NSURLErrorDomain");

// URL error codes of the transport.
enum GMSDASHURLErrorCode : int {
    kGMSDASHURLErrorUnknown = -1,
    kGMSDASHURLErrorCancelled = -999,
    kGMSDASHURLErrorTimedOut = -1001,
    kGMSDASHURLErrorCannotConnectToHost = -1004,
    kGMSDASHURLErrorNetworkConnectionLost = -1005,
};

struct GMSDASHError {
    QString domain;
    int code = 0;
    QString message;
    QByteArray data;             // the body of an HTTP error ("data")
    QString underlyingError;     // the cause of a message that fails to parse

    static GMSDASHError brokenFrame(const QString& why)
    {
        return {kGMSDASHConnectionErrorDomain, 100, why, {}, {}};
    }
    static GMSDASHError badMessage(const QString& cause)
    {
        return {kGMSDASHConnectionErrorDomain, 101, QStringLiteral("response message does not parse"), {}, cause};
    }
    bool is(const QString& d, int c) const { return domain == d && code == c; }
};
