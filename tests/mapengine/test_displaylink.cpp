#include <gtest/gtest.h>

#include <QThread>

#include <tuple>
#include <vector>

#include "GMSDisplayLink.h"
#include "fakes.h"
#include "testsupport.h"

namespace {

struct Client : GMSDisplayLinkClient {
    explicit Client(unsigned r) : rate(r) {}
    unsigned preferredFrameRate() const override { return rate; }
    void displayLinkFired(GMSDisplayLink* link) override {
        ticks.push_back(link->frameNumber());
        if (onTick) onTick(link);
    }
    void setRate(unsigned r) {
        rate = r;
        preferredFrameRateDidChange();
    }
    unsigned rate;
    std::vector<std::uint64_t> ticks;
    std::function<void(GMSDisplayLink*)> onTick;
};

// What the link holds: clients, a timer, the frame rate.
std::tuple<int, bool, std::uint64_t> state(const GMSDisplayLink& link) {
    return {link.clientCount(), link.hasTimer(), link.frameRate()};
}

// A link with one client per wish.
struct Clients {
    explicit Clients(const std::vector<unsigned>& wishes) {
        for (unsigned w : wishes) {
            all.push_back(std::make_unique<Client>(w));
            link.addClient(all.back().get());
        }
    }
    GMSDisplayLink link{ManualFrameTimer::factory()};
    std::vector<std::unique_ptr<Client>> all;
};

// A wish that doesn't divide 60 counts as 30 for the rate, but its client
// still ticks by rate / wish; a wish of 0 gets tick 0 only.
TEST(DisplayLink, RateIsTheLeastCommonMultipleOfTheWishesAndClientsTickByTheirDivisor) {
    using Ticks = std::vector<std::uint64_t>;
    struct Case {
        std::vector<unsigned> wishes;
        std::uint64_t rate;
        std::vector<Ticks> ticks = {};  // of each client over 12 frames, where given
    } cases[] = {{{15, 30}, 30}, {{20, 30}, 60}, {{60, 24}, 60}, {{0}, 30}, {{7}, 30},
                 {{12, 20}, 60}, {{15}, 15},     {{1, 2, 3}, 6},
                 {{60, 30, 15, 20},
                  60,
                  {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {0, 2, 4, 6, 8, 10}, {0, 4, 8}, {0, 3, 6, 9}}},
                 {{7, 0}, 30, {{0, 4, 8}, {0}}}};
    for (const Case& c : cases) {
        Clients clients(c.wishes);
        ASSERT_NE(ManualFrameTimer::last, nullptr);
        EXPECT_EQ(std::tuple(clients.link.frameRate(), ManualFrameTimer::last->fps), std::tuple(c.rate, c.rate));
        for (int i = 0; i < 12 && !c.ticks.empty(); ++i) ManualFrameTimer::last->fire();
        for (std::size_t k = 0; k < c.ticks.size(); ++k) EXPECT_EQ(clients.all[k]->ticks, c.ticks[k]) << c.wishes[k];
    }
    // A changed wish recomputes the rate while its client is on the link.
    Clients clients({15, 15});
    clients.all[1]->setRate(20);
    EXPECT_EQ(std::tuple(clients.link.frameRate(), ManualFrameTimer::last->fps), std::tuple(60u, 60u));
    clients.link.removeClient(clients.all[1].get());
    clients.all[1]->setRate(30);  // no longer observed
    EXPECT_EQ(clients.link.frameRate(), 15u);
}

TEST(DisplayLink, TimerOnlyWhileClientsAreThereAndLeavesAModeWithItsLastClient) {
    GMSDisplayLink link(ManualFrameTimer::factory());
    Client a(60);
    link.removeClient(&a);  // unknown: ignored
    {
        Client gone(60);
        link.addClient(&gone);
    }
    EXPECT_EQ(state(link), std::tuple(0, false, 0u)) << "a destroyed client leaves the link";
    const int before = ManualFrameTimer::made;
    link.addClient(&a);
    link.addClient(&a);  // twice: one entry, one count
    EXPECT_EQ(std::tuple(link.clientCount(), link.modeRefcount(GMSDisplayLink::kCommonModes),
                         ManualFrameTimer::last->modes, ManualFrameTimer::made),
              std::tuple(1, 1, QStringList{GMSDisplayLink::kCommonModes}, before + 1));
    ManualFrameTimer::last->fire();
    ManualFrameTimer::last->fire();
    link.removeClient(&a);
    EXPECT_EQ(state(link), std::tuple(0, false, 0u));
    EXPECT_EQ(ManualFrameTimer::last, nullptr);
    link.addClient(&a);
    EXPECT_EQ(ManualFrameTimer::made, before + 2);
    ManualFrameTimer::last->fire();
    EXPECT_EQ(a.ticks.back(), 2u) << "the tick count carries on";
    link.removeClient(&a);

    Client b(30), c(30), d(30);
    link.addClient(&b, {"default", "tracking"});
    link.addClient(&c, {"default"});
    const QStringList& modes = ManualFrameTimer::last->modes;
    EXPECT_EQ(modes, QStringList({"default", "tracking"}));
    link.addClient(&d, {"tracking"});
    link.removeClient(&b);
    EXPECT_EQ(std::tuple(modes, link.modeRefcount("default")), std::tuple(QStringList({"default", "tracking"}), 1));
    link.removeClient(&c);
    EXPECT_EQ(std::tuple(modes, link.modeRefcount("default"), link.hasTimer()),
              std::tuple(QStringList{"tracking"}, 0, true));
}

TEST(DisplayLink, ClientsMayJoinAndLeaveDuringATick) {
    GMSDisplayLink link(ManualFrameTimer::factory());
    Client a(60), b(60), c(60);
    a.onTick = [&](GMSDisplayLink* l) {
        l->removeClient(&b);
        l->addClient(&c);
    };
    link.addClient(&a);
    link.addClient(&b);
    ManualFrameTimer::last->fire();
    // b left before its turn; c joined after the copy was taken.
    EXPECT_EQ(std::tuple(a.ticks.size(), b.ticks.size(), c.ticks.size()), std::tuple(1u, 0u, 0u));
    ManualFrameTimer::last->fire();
    EXPECT_EQ(c.ticks.size(), 1u);
}

// A client added from another thread joins on the link's thread; the real
// timer ticks on the event loop.
TEST(DisplayLink, WorkerThreadsJoinOnTheLinkThreadAndTheRealTimerTicks) {
    GMSDisplayLink link;
    Client a(30);
    std::unique_ptr<QThread> worker(QThread::create([&] { link.addClient(&a); }));
    worker->start();
    worker->wait();
    EXPECT_TRUE(zltest::waitFor([&] { return a.ticks.size() >= 3; }, 5000));
    EXPECT_EQ(state(link), std::tuple(1, true, 30u));
    link.removeClient(&a);
    EXPECT_FALSE(link.hasTimer());
}

}  // namespace
