#pragma once

#include "ui/UIKit.h"
#include "ui/UIViewController.h"

// The help page, a bundled HTML text.
class AboutVC : public UIViewController {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the navigation")
    Q_PROPERTY(UIWebView* webView READ webView CONSTANT)

public:
    explicit AboutVC(QObject* parent = nullptr);
    void viewDidLoad() override;

    QString fileName = QStringLiteral("about_en");
    UIWebView* webView() const { return webView_; }
    // Where bundled pages are looked up (tests point it elsewhere).
    QString resourceDir = QStringLiteral(":/zenloft/help");

private:
    UIWebView* webView_;
};
