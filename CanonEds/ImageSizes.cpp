#include "CanonEds/ImageSizes.h"

#include <cstring>

namespace {

// The double blank of the KISS X2 and the size of the KISS X3 are the cameras' own ways.
constexpr ImageSize ImageSizes[] = {
    {"Canon EOS-1D Mark III", 3888, 2592, false},
    {"Canon EOS-1Ds Mark III", 5616, 3744, false},
    {"Canon EOS-1D Mark IV", 4896, 3264, true},
    {"Canon EOS-1D X", 5184, 3456, true},
    {"Canon EOS 5D Mark II", 5616, 3744, true},
    {"Canon EOS 5D Mark III", 5760, 3840, true},
    {"Canon EOS 6D", 5472, 3648, true},
    {"Canon EOS 7D", 5184, 3456, true},
    {"Canon EOS 40D", 3888, 2592, false},
    {"Canon EOS 50D", 4752, 3168, true},
    {"Canon EOS 60D", 5184, 3456, true},
    {"Canon EOS 60Da", 5184, 3456, true},
    {"Canon EOS 450D", 4272, 2848, false},
    {"Canon EOS DIGITAL REBEL XSi", 4272, 2848, false},
    {"Canon EOS KISS  X2", 4272, 2848, false},
    {"Canon EOS 500D", 4752, 3168, true},
    {"Canon EOS DIGITAL REBEL T1i", 4752, 3168, true},
    {"Canon EOS REBEL T1i", 4752, 3168, true},
    {"Canon EOS KISS X3", 4272, 2848, true},
    {"Canon EOS 1000D", 3888, 2592, false},
    {"Canon EOS DIGITAL REBEL XS", 3888, 2592, false},
    {"Canon EOS KISS F", 3888, 2592, false},
    {"Canon EOS 550D", 5184, 3456, true},
    {"Canon EOS DIGITAL REBEL T2i", 5184, 3456, true},
    {"Canon EOS REBEL T2i", 5184, 3456, true},
    {"Canon EOS KISS X4", 5184, 3456, true},
    {"Canon EOS 600D", 5184, 3456, true},
    {"Canon EOS DIGITAL REBEL T3i", 5184, 3456, true},
    {"Canon EOS REBEL T3i", 5184, 3456, true},
    {"Canon EOS KISS X5", 5184, 3456, true},
    {"Canon EOS 650D", 5184, 3456, true},
    {"Canon EOS DIGITAL REBEL T4i", 5184, 3456, true},
    {"Canon EOS REBEL T4i", 5184, 3456, true},
    {"Canon EOS KISS X6i", 5184, 3456, true},
    {"Canon EOS 1100D", 4272, 2848, true},
    {"Canon EOS DIGITAL REBEL T3", 4272, 2848, true},
    {"Canon EOS REBEL T3", 4272, 2848, true},
    {"Canon EOS KISS X50", 4272, 2848, true},
    {nullptr, 0, 0, false},
};

constexpr ImageSize kUnknownModel = {"", 4000, 3000, false};

}  // namespace

ImageSize findImageSize(const char* deviceDescription) {
    for (const ImageSize* row = ImageSizes; row->width != 0; ++row) {
        if (std::strcmp(row->model, deviceDescription) == 0) return *row;
    }
    return kUnknownModel;
}
