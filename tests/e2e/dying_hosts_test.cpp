// Hosts that die in the middle of a call: after every byte of every method of Nikon cameras and webcams.
#include <gtest/gtest.h>

#include <span>

#include "tests/e2e/support/nikon_fixture.h"
#include "tests/e2e/support/video_calls.h"

namespace e2e {
namespace {

/** No handle has this address, nor has any number that its first bytes make. */
constexpr MadeUp kForged{0x0101010101010101, 0x01010101, "/none/x"};

class DyingHosts : public NikonTest {
protected:
    /** One host closes its connection, another one has it reset. Answers how many there were. */
    size_t letDie(const Bytes& beginning) {
        RawClient closed(helper().port());
        closed.send(beginning);
        closed.close();
        RawClient reset(helper().port());
        reset.send(beginning);
        reset.abort();
        return 2;
    }

    void letDieInEach(int module, std::span<const Method> methods) {
        size_t hosts = 0;
        for (const Method& method : methods) {
            const Bytes call = Message().byte(module).byte(method.id).raw(argumentsOf(method, kForged));
            for (size_t count = 1; count <= call.size(); ++count) {
                hosts += letDie({call.begin(), call.begin() + static_cast<std::ptrdiff_t>(count)});
            }
            ASSERT_EQ(nikon().cameraCount(0), 0) << "after " << method.name;
        }
        // Every connection comes to its end. A reset before the first byte is read opens module 0.
        EXPECT_TRUE(eventually([&] { return ended() == hosts; })) << ended() << " of " << hosts;
        expectServing();
    }

private:
    size_t ended() {
        return helper().err().count("exiting loop on result ") + helper().err().count("Unknown module 0\n");
    }
};

TEST_F(DyingHosts, in_calls_of_nikon_cameras_disturb_nobody) {
    start();
    letDieInEach(20, nikonMethods());
}

TEST_F(DyingHosts, in_calls_of_webcams_disturb_nobody) {
    start();
    letDieInEach(40, videoMethods());
}

}  // namespace
}  // namespace e2e
