#pragma once

#include "ui/UIViewController.h"

// The root screen: the navigation stack above a bottom strip that hosts a
// banner. The strip has no height until a banner is shown.
class MainVC : public UIViewController {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the application")
    Q_PROPERTY(double BottomAdHeight READ bottomAdHeight NOTIFY bottomAdHeightChanged)
    Q_PROPERTY(double stripAnimationSeconds READ stripAnimationSeconds NOTIFY bottomAdHeightChanged)

public:
    enum Idiom { Phone = 0, Pad = 1 };

    explicit MainVC(QObject* parent = nullptr);
    void viewDidLoad() override;

    double bottomAdHeight() const { return bottomAdHeight_; }
    double stripAnimationSeconds() const { return animationSeconds_; }
    void setUserInterfaceIdiom(int idiom) { idiom_ = idiom; }

    // A banner arrived: 90 on a tablet, 50 otherwise.
    void bannerDidShow();
    // The banner went away: back to 0 in an animation of 0.1 s.
    void bannerDidHide();

signals:
    void bottomAdHeightChanged();

private:
    double bottomAdHeight_ = 0.0;
    double animationSeconds_ = 0.0;
    int idiom_ = Phone;
};
