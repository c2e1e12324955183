/* What a bundle of the tests has to offer. It says on loading and unloading that it is there. */
#include <cstdlib>

extern "C" __attribute__((visibility("default"))) int answer() {
    return 42;
}

namespace {

struct Presence {
    Presence() { setenv("TARVO_TEST_BUNDLE", "loaded", 1); }
    ~Presence() { unsetenv("TARVO_TEST_BUNDLE"); }
};

const Presence presence;

}  // namespace
