#include "CanonEds/ImageSizes.h"

#include <gtest/gtest.h>

namespace {

void expectSize(const char* model, int width, int height, bool pressShutter) {
    const ImageSize size = findImageSize(model);
    EXPECT_EQ(size.width, width) << model;
    EXPECT_EQ(size.height, height) << model;
    EXPECT_EQ(size.pressShutter, pressShutter) << model;
}

TEST(ImageSizes, KnowsAModelByItsWholeDescription) {
    expectSize("Canon EOS-1D Mark III", 3888, 2592, false);
    expectSize("Canon EOS 5D Mark II", 5616, 3744, true);
    expectSize("Canon EOS 5D Mark III", 5760, 3840, true);
    expectSize("Canon EOS 450D", 4272, 2848, false);
    expectSize("Canon EOS KISS X50", 4272, 2848, true);
}

TEST(ImageSizes, KissX2IsWrittenWithTwoBlanks) {
    expectSize("Canon EOS KISS  X2", 4272, 2848, false);
    expectSize("Canon EOS KISS X2", 4000, 3000, false);
}

TEST(ImageSizes, KissX3DiffersFromItsSisters) {
    expectSize("Canon EOS KISS X3", 4272, 2848, true);
    expectSize("Canon EOS 500D", 4752, 3168, true);
    expectSize("Canon EOS REBEL T1i", 4752, 3168, true);
}

TEST(ImageSizes, UnknownModelsGetADefault) {
    for (const char* model : {"", "Canon", "Canon EOS 5D", "canon eos 7d", "Canon EOS 7D "}) {
        expectSize(model, 4000, 3000, false);
    }
}

}  // namespace
