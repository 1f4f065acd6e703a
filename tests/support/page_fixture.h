#pragma once

// The app's real window above a work area's screen fixture: the shell's
// screens and the menu as main() puts them, for walks with real clicks.

#include "ShellScreens.h"
#include "ShellServices.h"
#include "quicktest.h"
#include "screens/MainVC.h"

#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <gtest/gtest.h>

#include <memory>

namespace zltest {

template <class ScreenFixture>
class PageTest : public ScreenFixture {
protected:
    static void SetUpTestSuite() { QQuickStyle::setStyle("Material"); }
    void SetUp() override {
        ScreenFixture::SetUp();
        mainVC.loadViewIfNeeded();
        ShellScreens::registerScreens(*this->nav);
        shell = std::make_unique<ShellServices>(this->nav.get(), &mainVC, &this->fake.appDelegate);
        engine = std::make_unique<QQmlApplicationEngine>();
        window = loadMainWindow(*engine, [this] { ShellScreens::showMenu(*this->nav, this->fake.context); });
        ASSERT_TRUE(window);
    }
    void TearDown() override {
        engine.reset();
        shell.reset();
        ScreenFixture::TearDown();
    }
    // Waits until the page stack shows the navigation's top screen.
    bool settled() { return waitForPage(window, this->nav->topViewController(), this->nav->depth()); }
    bool clickTo(const char* name) { return clickItem(window, name) && settled(); }

    MainVC mainVC;
    std::unique_ptr<ShellServices> shell;
    std::unique_ptr<QQmlApplicationEngine> engine;
    QQuickWindow* window = nullptr;
};

}  // namespace zltest
