// What goes wrong with webcams, in the framework's numbers.
#include <filesystem>

#include "frameworks/QTKit/gstreamer/Errors.h"
#include "tests/QTKit/hardware/fixture.h"

namespace test {
namespace {

class HardwareErrors : public HardwareTest {
protected:
    void SetUp() override { hearer = Ref<Hearer>::adopt(new Hearer); }
    void TearDown() override {
        EXPECT_TRUE(eventually([this] { return hearer->retainCount() == 1; }));
        hearer = {};
        HardwareTest::TearDown();
    }

    /** What is told when a webcam that delivers changes its manner. */
    int64_t toldAfter(
        const FakeRef& fake, Manner manner, const std::function<void()>& meanwhile = [] {}) {
        plugIn(fake);
        Chain chain = this->chain(fake);
        chain.session->startRunning();
        EXPECT_TRUE(chain.taker->waitForMore(1));
        meanwhile();
        fake->manner = manner;
        return told(chain);
    }
    int64_t toldAtStart(const FakeRef& fake, Manner manner) {
        plugIn(fake);
        Chain chain = this->chain(fake);
        fake->manner = manner;
        chain.session->startRunning();
        return told(chain);
    }
    FakeRef withoutNode(const std::string& name) {
        FakeRef fake = webcam(name);
        fake->properties = {{"node.name", name}};
        return fake;
    }

    Ref<Hearer> hearer;

private:
    int64_t told(const Chain& chain) {
        EXPECT_TRUE(hearer->waitFor(1));
        EXPECT_FALSE(chain.session->isRunning());
        EXPECT_EQ(hearer->heard().size(), 1u);
        EXPECT_EQ(hearer->heard().back().object, chain.session.get());
        return hearer->heard().back().code;
    }
};

TEST_F(HardwareErrors, of_reading_from_a_device_that_is_there_are_no_loss_of_it) {
    EXPECT_EQ(toldAfter(webcam("fake one"), Manner::ReadError), capture::kErrorStreamFailed);
}

TEST_F(HardwareErrors, of_reading_from_a_device_whose_node_is_gone_are_its_loss) {
    const auto unplug = [this] { std::filesystem::remove(pathOf("node")); };
    EXPECT_EQ(toldAfter(webcam("fake one", kYuyv, "node"), Manner::ReadError, unplug),
              QTErrorDeviceWasDisconnected);
}

TEST_F(HardwareErrors, notice_a_node_that_is_another_device_s_by_now) {
    const auto replug = [this] {
        e2e::writeFile(pathOf("other"), {1});
        std::filesystem::rename(pathOf("other"), pathOf("node"));
    };
    EXPECT_EQ(toldAfter(webcam("fake one", kYuyv, "node"), Manner::ReadError, replug),
              QTErrorDeviceWasDisconnected);
}

TEST_F(HardwareErrors, of_reading_from_a_device_that_is_not_listed_any_more_are_its_loss) {
    const FakeRef fake = withoutNode("fake one");
    EXPECT_EQ(toldAfter(fake, Manner::ReadError, [&] { pullOut(fake); }), QTErrorDeviceWasDisconnected);
}

TEST_F(HardwareErrors, tell_of_a_device_that_leaves_though_its_source_says_nothing) {
    const FakeRef fake = withoutNode("fake one");
    const auto leave = [&] {
        fake->manner = Manner::Silent;
        pullOut(fake);
    };
    EXPECT_EQ(toldAfter(fake, Manner::Silent, leave), QTErrorDeviceWasDisconnected);
    EXPECT_NE(hearer->heard().back().text.find("not there any more"), std::string::npos)
        << "noticed by its silence: " << hearer->heard().back().text;
}

TEST_F(HardwareErrors, of_reading_from_a_device_that_stays_listed_are_no_loss_of_it) {
    EXPECT_EQ(toldAfter(withoutNode("fake one"), Manner::ReadError), capture::kErrorStreamFailed);
}

TEST_F(HardwareErrors, are_told_though_the_driver_hangs) {
    const FakeRef fake = webcam("fake one");
    EXPECT_EQ(toldAfter(fake, Manner::ReadError, [&] { fake->isStuck = true; }), capture::kErrorStreamFailed);
    EXPECT_EQ(fake->openCount, 1);
    fake->isStuck = false;
}

TEST_F(HardwareErrors, have_a_number_for_a_stream_that_ends) {
    EXPECT_EQ(toldAfter(webcam("fake one"), Manner::EndOfStream), capture::kErrorStreamFailed);
}

TEST_F(HardwareErrors, have_a_number_for_a_device_that_is_in_use) {
    EXPECT_EQ(toldAtStart(webcam("fake one"), Manner::Busy), capture::kErrorDeviceBusy);
}

TEST_F(HardwareErrors, have_a_number_for_a_device_that_may_not_be_used) {
    EXPECT_EQ(toldAtStart(webcam("fake one"), Manner::Denied), capture::kErrorPermissionDenied);
}

TEST_F(HardwareErrors, have_a_number_for_a_device_that_keeps_none_of_its_promises) {
    const FakeRef fake = webcam("fake one", "video/x-raw,format=YUY2,width=640,height=48,framerate=30/1");
    EXPECT_EQ(toldAtStart(fake, Manner::NotItsWord), capture::kErrorNoUsableMode);
}

TEST_F(HardwareErrors, do_not_keep_a_device_from_being_started_again) {
    const FakeRef fake = webcam("fake one");
    plugIn(fake);
    Chain chain = this->chain(fake);
    for (size_t round = 1; round <= 3; ++round) {
        fake->manner = Manner::Well;
        chain.session->startRunning();
        ASSERT_TRUE(chain.taker->waitForMore(1));
        fake->manner = Manner::EndOfStream;
        ASSERT_TRUE(hearer->waitFor(round));
    }
}

}  // namespace
}  // namespace test
