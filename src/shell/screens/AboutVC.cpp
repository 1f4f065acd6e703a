#include "AboutVC.h"

#include <QDir>
#include <QFile>
#include <QUrl>

AboutVC::AboutVC(QObject* parent) : UIViewController(parent), webView_(new UIWebView(this)) {}

void AboutVC::viewDidLoad() {
    setTitle(tr("help"));
    // A missing page leaves the view empty.
    const QString path = QDir(resourceDir).filePath(fileName + QStringLiteral(".html"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return;
    const QString base = path.startsWith(QLatin1Char(':')) ? QStringLiteral("qrc") + path : QUrl::fromLocalFile(path).toString();
    webView_->loadHTMLString(QString::fromUtf8(file.readAll()), base);
}
