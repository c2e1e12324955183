/* fixture.h: a test with the simulated capture framework, and a lab of its own.
 *
 * Thread: the test's; frames and errors come on threads of the framework.
 * Owns:   what it makes; when a test ends nothing of the framework's may live any more.
 */
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "QTKit.h"
#include "platform/CallScope.h"
#include "tests/QTKit/witnesses.h"
#include "tests/lab/support.h"

namespace test {

class QTKitTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /** A world of video devices, called v-1 and so on. */
    static void start(const std::vector<Json>& devices);
    static Ref<QTCaptureDevice> device(size_t index = 0);

    static Chain chain(size_t index = 0) { return chainOf(device(index)); }

    /** How many objects of a kind live. */
    static int64_t living(const char* kind);
};

}  // namespace test
