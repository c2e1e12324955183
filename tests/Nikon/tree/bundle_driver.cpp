/* Stands for the driver library beside a module. */
#include <cstdlib>

namespace {

const int mark = setenv("TARVO_TEST_DRIVER", "loaded", 1);

}  // namespace

extern "C" __attribute__((visibility("default"))) int driverMark() {
    return mark;
}
