#include "platform/Notifications.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

namespace {

constinit const NotificationName kRang{"Rang"};
constinit const NotificationName kOther{"Other"};

struct Life {
    std::atomic<int> calls{0};
    std::atomic<bool> isGone{false};
};

class Listener : public NotificationObserver {
public:
    explicit Listener(
        Life& life, std::function<void()> onCall = [] {})
        : life_(life), onCall_(onCall) {}
    void handleNotification(NSNotification&) override {
        ++life_.calls;
        onCall_();
    }

protected:
    ~Listener() override { life_.isGone = true; }

private:
    Life& life_;
    std::function<void()> onCall_;
};

void post(const NotificationName& name, NSObject* object = nullptr, NSError* error = nullptr) {
    const auto notification = Ref<NSNotification>::adopt(new NSNotification(name, object, error));
    NSNotificationCenter::defaultCenter().postNotification(*notification);
}

TEST(Notifications, reach_who_asked_for_the_name_once_for_each_time_it_asked) {
    Life life;
    const auto listener = Ref<Listener>::adopt(new Listener(life));
    NSNotificationCenter& center = NSNotificationCenter::defaultCenter();
    center.addObserver(*listener, kRang);
    post(kOther);
    EXPECT_EQ(life.calls, 0);
    center.addObserver(*listener, kRang);
    post(kRang);
    EXPECT_EQ(life.calls, 2);
    center.removeObserver(*listener);
    post(kRang);
    EXPECT_EQ(life.calls, 2);
}

TEST(Notifications, do_not_reach_an_observer_that_was_destroyed_without_being_removed) {
    Life life;
    NSNotificationCenter::defaultCenter().addObserver(*Ref<Listener>::adopt(new Listener(life)), kRang);
    EXPECT_TRUE(life.isGone);
    post(kRang);
    EXPECT_EQ(life.calls, 0);
}

TEST(Notifications, keep_the_observer_alive_while_it_is_called) {
    Life life;
    bool wasGoneInTheCall = true;
    Listener* listener = nullptr;
    listener = new Listener(life, [&] {
        listener->release();  // the only reference but the centre's
        wasGoneInTheCall = life.isGone;
    });
    NSNotificationCenter::defaultCenter().addObserver(*listener, kRang);
    post(kRang);
    EXPECT_FALSE(wasGoneInTheCall);
    EXPECT_TRUE(life.isGone);
}

TEST(Notifications, may_be_posted_while_observers_come_and_go) {
    std::atomic<bool> isOver{false};
    std::thread poster([&] {
        while (!isOver)
            post(kRang);
    });
    for (int i = 0; i < 2000; ++i) {
        Life life;
        auto listener = Ref<Listener>::adopt(new Listener(life));
        NSNotificationCenter::defaultCenter().addObserver(*listener, kRang);
        NSNotificationCenter::defaultCenter().removeObserver(*listener);
        listener = {};
        while (!life.isGone)
            std::this_thread::yield();  // the poster may still be calling it
    }
    isOver = true;
    poster.join();
}

TEST(Notifications, describe_themselves_with_their_error) {
    const auto error = Ref<NSError>::adopt(new NSError("Capture", 1203, "The device is gone."));
    const auto notification = Ref<NSNotification>::adopt(new NSNotification(kRang, nullptr, error.get()));
    EXPECT_EQ(notification->error()->code(), 1203);
    EXPECT_NE(notification->description().find("name = Rang"), std::string::npos);
    EXPECT_NE(notification->description().find("Error Domain=Capture Code=1203 \"The device is gone.\""),
              std::string::npos);
}

TEST(Objects, live_as_long_as_somebody_holds_a_reference) {
    Life life;
    auto first = Ref<Listener>::adopt(new Listener(life));
    auto second = first;
    first = {};
    EXPECT_FALSE(life.isGone);
    EXPECT_TRUE(second->retainIfAlive());
    second->release();
    second = {};
    EXPECT_TRUE(life.isGone);
}

}  // namespace
