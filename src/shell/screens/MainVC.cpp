#include "MainVC.h"

MainVC::MainVC(QObject* parent) : UIViewController(parent) {}

void MainVC::viewDidLoad() {
    bottomAdHeight_ = 0.0;
    animationSeconds_ = 0.0;
    emit bottomAdHeightChanged();
}

void MainVC::bannerDidShow() {
    bottomAdHeight_ = idiom_ == Pad ? 90.0 : 50.0;
    animationSeconds_ = 0.0;
    emit bottomAdHeightChanged();
}

void MainVC::bannerDidHide() {
    bottomAdHeight_ = 0.0;
    animationSeconds_ = 0.1;
    emit bottomAdHeightChanged();
}
