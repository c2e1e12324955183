/* fixture.h: a test with the hardware library and fake webcams. Real ones that the machine may have are
 * looked past.
 *
 * Thread: the test's.
 * Owns:   what it plugged in, until the test ends; by then nobody may stream from it any more.
 */
#pragma once

#include <array>
#include <string>
#include <vector>

#include "platform/CallScope.h"
#include "tests/QTKit/hardware/FakeWebcams.h"
#include "tests/QTKit/witnesses.h"
#include "tests/e2e/support/patience.h"
#include "tests/e2e/support/temp_folder.h"

namespace test {

using e2e::eventually;

/** Shades of all colours: luma and colour differences of a pixel, as digital television has them. */
struct Yuv {
    uint8_t y, u, v;
};
Yuv shadeAt(int x, int y);
/** Two pixels in four bytes, `surplus` bytes of no meaning after each row. */
Raw yuyv(int width, int height, int surplus = 0);

class HardwareTest : public ::testing::Test {
protected:
    static void SetUpTestSuite();
    void TearDown() override;

    static constexpr const char* kYuyv = "video/x-raw,format=YUY2,width=64,height=48,framerate=30/1";

    /** A webcam of V4L2 as far as its properties go: its node is a file. It shows shades. */
    FakeRef webcam(const std::string& name, const std::string& caps = kYuyv, const std::string& node = {});
    /** Those of the list that are fakes. */
    static std::vector<Ref<QTCaptureDevice>> devices();
    static std::vector<std::string> names();
    static Ref<QTCaptureDevice> device(const std::string& name);
    Chain chain(const FakeRef& fake) { return chainOf(device(fake->name)); }

    std::string pathOf(const std::string& node) const { return folder_.file(node); }

private:
    e2e::TempFolder folder_;
    std::vector<FakeRef> fakes_;
};

}  // namespace test
