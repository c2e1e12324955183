// Numbers from the wire that are no module and no camera: every method has its answer to them.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e {
namespace {

constexpr std::array<int64_t, 10> kForged = {
    1, 0x1000, 0x12345678, 0x7FFFFFFF, 0x100000000, 0x7FFF12345678, INT64_MAX, -1, -4096, INT64_MIN};

class NikonHandles : public NikonTest {
protected:
    void expectRefused(int64_t number, char kind) {
        for (const NikonMethod& method : nikonMethods()) {
            if (method.arguments[0] != kind) continue;
            SCOPED_TRACE(method.name);
            const Bytes answer = nikon().call(method.id, nikonArgumentsFor(method, number, picturePath("x")));
            EXPECT_EQ(hex(answer), hex(nikonNoHandleResult(method)));
        }
    }

    /** Every method that takes a handle answers as for none, and no module notices. */
    void expectNothing(int64_t number) {
        SCOPED_TRACE(number);
        lab().clearTrace();
        expectRefused(number, 'm');
        expectRefused(number, 'c');
        EXPECT_EQ(lab().callNames(), std::vector<std::string>{});
    }
};

TEST_F(NikonHandles, of_zero_get_the_answer_without_a_camera) {
    start();
    expectNothing(0);
    const int64_t module = startModule();
    nikon().selectCamera(module, 0);
    expectNothing(0);
}

TEST_F(NikonHandles, that_are_made_up_get_the_answer_without_a_camera) {
    const int64_t camera = startCamera();
    for (const int64_t number : kForged) {
        expectNothing(number);
    }
    // Near a real one, or with its low half only, is as wrong as far from it.
    for (const int64_t real : {camera, module()}) {
        for (const int64_t offset : {-8, -1, 1, 8, 64}) {
            expectNothing(real + offset);
        }
        expectNothing(real + (int64_t{1} << 32));
        expectNothing(real | INT64_MIN);
    }
    EXPECT_EQ(nikon().cameraCount(module()), 1);
    EXPECT_EQ(nikon().checkForImages(camera), 0);
}

TEST_F(NikonHandles, of_the_other_kind_are_not_taken) {
    const int64_t camera = startCamera();
    lab().clearTrace();
    expectRefused(module(), 'c');
    expectRefused(camera, 'm');
    EXPECT_EQ(lab().callNames(), std::vector<std::string>{});
    EXPECT_EQ(nikon().cameraCount(module()), 1);
}

TEST_F(NikonHandles, of_another_family_are_not_taken) {
    start(
        nikonScenario({usualNikon(), {{"id", "canon-1"}, {"family", "canon"}, {"model", "Canon EOS 40D"}}}));
    RawClient canon(helper().port());
    canon.send({10, 1});
    canon.receive(8);
    canon.send({10, 2});
    const Bytes list = canon.receive(12);
    canon.send(Message().byte(10).byte(7).int32(int32At(list, 8)));
    const int32_t session = int32At(canon.receive(8), 4);
    ASSERT_GT(session, 130);
    for (const int64_t number : {session, int32At(list, 8)}) {
        expectRefused(number, 'm');
        expectRefused(number, 'c');
    }
    // And the reverse.
    const int64_t module = startModule();
    const int64_t camera = nikon().selectCamera(module, 0);
    for (const int64_t handle : {module, camera}) {
        canon.send(Message().byte(10).byte(8).int32(handle));
        EXPECT_EQ(int32At(canon.receive(8), 4), 130);
    }
}

TEST_F(NikonHandles, of_a_closed_module_get_the_answer_without_one) {
    start();
    const int64_t module = startModule();
    ASSERT_EQ(nikon().terminateSdk(module), 0);
    expectNothing(module);
    EXPECT_EQ(nikon().terminateSdk(module), 0) << "a second time";
}

TEST_F(NikonHandles, of_a_released_camera_get_the_answer_without_one) {
    const int64_t camera = startCamera();
    nikon().releaseCamera(camera);
    expectNothing(camera);
    nikon().releaseCamera(camera);
    EXPECT_EQ(helper().out().count("NikonMaid: In release camera\n"), 3u)
        << "the handle's own, one of every method, the last";
}

TEST_F(NikonHandles, are_not_used_again_soon) {
    start();
    const int64_t module = startModule();
    std::vector<int64_t> seen;
    for (int i = 0; i < 10; ++i) {
        const int64_t camera = nikon().selectCamera(module, 0);
        ASSERT_NE(camera, 0);
        EXPECT_EQ(std::count(seen.begin(), seen.end(), camera), 0);
        seen.push_back(camera);
        nikon().releaseCamera(camera);
    }
}

TEST_F(NikonHandles, are_good_on_every_connection) {
    const int64_t camera = startCamera();
    NikonCalls other(helper().port());
    EXPECT_EQ(other.cameraCount(module()), 1);
    EXPECT_FALSE(other.isLiveView(camera));
    other.releaseCamera(camera);
    EXPECT_EQ(nikon().getSetting(camera, kExposureMode), 0) << "released";
}

}  // namespace
}  // namespace e2e
