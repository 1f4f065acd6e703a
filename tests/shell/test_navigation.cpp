// The navigation stack. (The table model is checked on the settings screen's table.)

#include "testsupport.h"
#include "ui/NavigationController.h"

#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

QStringList g_events;

class Screen : public UIViewController {
public:
    explicit Screen(QString name) : name_(std::move(name)) {}
    void viewDidLoad() override { g_events << name_ + ".viewDidLoad"; }
    void viewWillAppear(bool) override { g_events << name_ + ".viewWillAppear"; }
    void viewDidAppear(bool) override { g_events << name_ + ".viewDidAppear"; }
    void viewWillDisappear(bool) override { g_events << name_ + ".viewWillDisappear"; }
    void viewDidDisappear(bool) override { g_events << name_ + ".viewDidDisappear"; }
    void prepareForSegue(UIStoryboardSegue& segue, const QVariant& sender) override {
        g_events << QStringLiteral("%1.prepare(%2,%3)").arg(name_, segue.identifier, sender.toString());
        lastDestination = segue.destinationViewController;
        if (auto* s = dynamic_cast<Screen*>(segue.destinationViewController)) s->given = sender;
    }
    QString name_;
    QVariant given;
    UIViewController* lastDestination = nullptr;
};

struct Nav : ::testing::Test {
    void SetUp() override {
        g_events.clear();
        nav.registerScreen("next", [] { return new Screen("B"); }, QUrl("qrc:/B.qml"));
        nav.registerScreen("third", [] { return new Screen("C"); }, QUrl("qrc:/C.qml"));
        root = new Screen("A");
        nav.setRootViewController(root, QUrl("qrc:/A.qml"));
        g_events.clear();
    }
    NavigationController nav;
    Screen* root = nullptr;
};

}  // namespace

TEST_F(Nav, AnUnregisteredSegueIsRefusedAndPushAndPopFollowTheLifecycleOrder) {
    zltest::LogCapture log;
    EXPECT_FALSE(root->performSegueWithIdentifier("nowhere"));
    EXPECT_EQ(nav.depth(), 1);
    ASSERT_EQ(log.warnings().size(), 1);
    EXPECT_TRUE(log.warnings()[0].contains("nowhere"));
    EXPECT_TRUE(g_events.isEmpty()) << "prepareForSegue isn't called either";

    EXPECT_FALSE(Screen("L").performSegueWithIdentifier("next")) << "a screen outside a stack";

    QSignalSpy pushed(&nav, &NavigationController::pushed);
    QSignalSpy popped(&nav, &NavigationController::popped);
    ASSERT_TRUE(root->performSegueWithIdentifier("next", "hello"));
    EXPECT_EQ(g_events, QStringList({"A.prepare(next,hello)", "B.viewDidLoad", "A.viewWillDisappear",
                                     "B.viewWillAppear", "A.viewDidDisappear", "B.viewDidAppear"}));
    ASSERT_EQ(pushed.size(), 1);
    EXPECT_EQ(pushed[0][1].toUrl(), QUrl("qrc:/B.qml"));
    auto* b = static_cast<Screen*>(nav.topViewController());
    EXPECT_EQ(b->navigationController(), &nav);

    g_events.clear();
    QPointer<UIViewController> gone = b;
    b->popViewController(true);
    EXPECT_EQ(g_events, QStringList({"B.viewWillDisappear", "A.viewWillAppear", "B.viewDidDisappear",
                                     "A.viewDidAppear"}));
    EXPECT_EQ(std::tuple(popped.size(), nav.depth(), nav.topViewController()), std::tuple(1, 1, root));
    // The popped screen is freed once its page can no longer read it.
    ASSERT_TRUE(zltest::waitFor([&] { return gone.isNull(); }));
}

TEST_F(Nav, PopOnTheRootDoesNothingOnlyTheTopPopsItselfPopToRootPopsAllAndLaterRegistrationsReplace) {
    nav.popViewControllerAnimated(true);
    EXPECT_EQ(nav.depth(), 1);
    root->performSegueWithIdentifier("next");
    nav.topViewController()->performSegueWithIdentifier("third", QVariant(1));
    EXPECT_EQ(static_cast<Screen*>(nav.topViewController())->given, QVariant(1));
    root->popViewController();  // not on top: ignored
    EXPECT_EQ(nav.depth(), 3);
    g_events.clear();
    nav.popToRootViewControllerAnimated(false);
    EXPECT_EQ(nav.depth(), 1);
    EXPECT_TRUE(g_events.contains("A.viewDidAppear"));

    // Later registrations replace earlier ones.
    nav.registerScreen("next", [] { return new Screen("B2"); }, QUrl("qrc:/B2.qml"));
    root->performSegueWithIdentifier("next");
    EXPECT_EQ(static_cast<Screen*>(nav.topViewController())->name_, "B2");
    EXPECT_EQ(nav.registeredIdentifiers(), QStringList({"next", "third"}));
}
