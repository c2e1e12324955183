// Numbers from the wire that are no session, no camera and no picture: every method has its answer to them.
#include <gtest/gtest.h>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

constexpr std::array<int32_t, 8> kForged = {1, 130, 0x1000, 0x12345678, 0x7FFFFFFF, -1, -4096, INT32_MIN};

class CanonHandles : public CanonTest {
protected:
    /** Every method that takes a number answers as without a session, and no camera notices. */
    void expectNoSession(int32_t number) {
        SCOPED_TRACE(number);
        lab().clearTrace();
        for (const CanonMethod& method : canonMethods()) {
            if (method.arguments[0] != 'i') continue;
            SCOPED_TRACE(method.name);
            const Bytes answer = canon().call(method.id, argumentsFor(method, number, picturePath("x")));
            EXPECT_EQ(hex(answer), hex(noSessionResult(method)));
        }
        EXPECT_EQ(lab().callNames(), std::vector<std::string>{});
    }

    /** The same for the methods on an open session, leaving out those on cameras and items. */
    void expectSessionMethodsRefuse(int32_t number) {
        SCOPED_TRACE(number);
        for (const CanonMethod& method : canonMethods()) {
            if (method.arguments[0] != 'i' || method.id == 5 || method.id == 7) continue;
            SCOPED_TRACE(method.name);
            const Bytes answer = canon().call(method.id, argumentsFor(method, number, picturePath("x")));
            EXPECT_EQ(hex(answer), hex(noSessionResult(method)));
        }
    }
};

TEST_F(CanonHandles, of_zero_get_the_answer_without_a_session) {
    start();
    expectNoSession(0);
    openFirst();
    expectNoSession(0);
}

TEST_F(CanonHandles, that_are_made_up_get_the_answer_without_a_session) {
    start();
    for (const int32_t number : kForged) {
        expectNoSession(number);
    }
    const int32_t handle = openFirst();
    for (const int32_t number : kForged) {
        expectNoSession(number);
    }
    // Near a real one is as wrong as far from it.
    for (const int32_t offset : {-8, -1, 1, 4, 64}) {
        expectNoSession(handle + offset);
    }
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 2);
}

TEST_F(CanonHandles, of_a_closed_session_get_the_answer_without_a_session) {
    const int32_t handle = startSession();
    ASSERT_EQ(canon().closeSession(handle), 0);
    expectNoSession(handle);
}

TEST_F(CanonHandles, of_another_kind_are_not_taken_for_a_session) {
    start();
    canon().initializeSdk();
    const int32_t reference = canon().cameraList().at(0);
    expectSessionMethodsRefuse(reference);
    const int32_t handle = canon().openSession(reference);
    expectSessionMethodsRefuse(reference);
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    expectSessionMethodsRefuse(item);
    // And a session or a picture is no camera.
    for (const int32_t number : {handle, item}) {
        EXPECT_EQ(canon().cameraName(number), "");
        EXPECT_EQ(canon().openSession(number), 130);
    }
    EXPECT_EQ(canon().download(handle, item), 0);
}

TEST_F(CanonHandles, of_a_session_survive_the_wrong_ones) {
    const int32_t handle = startSession();
    for (const int32_t number : kForged) {
        canon().closeSession(number);
    }
    EXPECT_EQ(canon().getSetting(handle, kSaveTo), 2);
    EXPECT_EQ(canon().closeSession(handle), 0);
}

TEST_F(CanonHandles, of_a_camera_end_with_its_session) {
    start();
    canon().initializeSdk();
    const int32_t reference = canon().cameraList().at(0);
    const int32_t handle = canon().openSession(reference);
    ASSERT_EQ(canon().closeSession(handle), 0);
    EXPECT_EQ(canon().cameraName(reference), "");
    EXPECT_EQ(canon().openSession(reference), 130);
    // A new list has a new one.
    const int32_t again = canon().cameraList().at(0);
    EXPECT_EQ(canon().cameraName(again), "Canon EOS 5D Mark II");
    EXPECT_NE(canon().openSession(again), 130);
}

TEST_F(CanonHandles, of_pictures_are_checked_before_anything_is_done) {
    const int32_t handle = startQuietSession();
    events();
    lab().clearTrace();
    for (const int32_t item : {0, 1, 0x12345678, 0x7FFFFFFF, -1, INT32_MIN, handle}) {
        EXPECT_EQ(canon().download(handle, item), -1) << item;
    }
    EXPECT_EQ(lab().callNames(), std::vector<std::string>{});
    events().socket().expectSilence();
    EXPECT_EQ(helper().out().count("ProgressFunc"), 0u);
}

TEST_F(CanonHandles, of_pictures_are_good_for_one_download) {
    const int32_t handle = startSession();
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    EXPECT_EQ(canon().download(handle, item), 0);
    lab().clearTrace();
    EXPECT_EQ(canon().download(handle, item), -1);
    EXPECT_EQ(lab().callNames(), std::vector<std::string>{});
}

TEST_F(CanonHandles, of_pictures_outlive_a_download_on_the_wrong_session) {
    const int32_t handle = startSession();
    const int32_t item = shoot(handle, picturePath("a")).at(0);
    for (const int32_t wrong : {0, 1, handle + 4}) {
        EXPECT_EQ(canon().download(wrong, item), -1);
    }
    EXPECT_EQ(canon().download(handle, item), 0);
    EXPECT_FALSE(readFile(picturePath("a.jpg")).empty());
}

TEST_F(CanonHandles, opened_again_and_again_are_each_live_alone) {
    start();
    canon().initializeSdk();
    int32_t last = 0;
    for (int i = 0; i < 50; ++i) {
        const int32_t handle = canon().openSession(canon().cameraList().at(0));
        ASSERT_EQ(canon().getSetting(handle, kSaveTo), 2);
        if (last != 0 && last != handle) {
            EXPECT_EQ(canon().getSetting(last, kSaveTo), 0);
        }
        ASSERT_EQ(canon().closeSession(handle), 0);
        last = handle;
    }
}

TEST_F(CanonHandles, of_a_camera_that_shut_down_keep_answering_as_without_a_session) {
    const int32_t handle = startSession();
    events();
    lab().detach("canon-1");
    events().waitFor(kStateEvent, kShutdownEvent);
    for (const CanonMethod& method : canonMethods()) {
        // The handle itself is still the host's to close.
        if (method.arguments[0] != 'i' || method.id == 5 || method.id == 7 || method.id == 8) continue;
        SCOPED_TRACE(method.name);
        const Bytes answer = canon().call(method.id, argumentsFor(method, handle, picturePath("x")));
        EXPECT_EQ(hex(answer), hex(noSessionResult(method)));
    }
    EXPECT_EQ(helper().out().count("CanonEds: handleStateEvent inEvent 0x301, inParam 0x"), 1u);
    canon().closeSession(handle);
    EXPECT_EQ(canon().closeSession(handle), 130);
    EXPECT_EQ(canon().cameraList().size(), 0u);
    lab().must({{"cmd", "attach"}, {"id", "canon-1"}});
    ASSERT_EQ(canon().cameraList().size(), 1u);
    const int32_t again = canon().openSession(canon().cameraList().at(0));
    EXPECT_EQ(canon().getSetting(again, kSaveTo), 2);
}

}  // namespace
}  // namespace e2e
