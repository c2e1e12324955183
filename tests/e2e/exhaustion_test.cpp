// A machine with nothing left to give: no thread for a connection, none for the camera library.
//
// The helper's address space is closed while it runs, so that the next thread has no room for its stack.
#include <gtest/gtest.h>

#include <fstream>
#include <list>

#include "tests/e2e/support/canon_fixture.h"

namespace e2e {
namespace {

class Exhaustion : public CanonTest {
protected:
    void SetUp() override {
        if (kSanitized) GTEST_SKIP() << "a sanitizer needs address space of its own at any moment";
    }

    void limitAddressSpace(rlim_t bytes) {
        const rlimit limit{bytes, RLIM_INFINITY};
        ASSERT_EQ(::prlimit(helper().pid(), RLIMIT_AS, &limit, nullptr), 0);
    }

    /** Leaves room for what is allocated in small pieces, but for no thread's stack. */
    void closeAddressSpace() {
        constexpr rlim_t kSmallPieces = 300 * 1024;
        std::ifstream file("/proc/" + std::to_string(helper().pid()) + "/statm");
        rlim_t pages = 0;
        file >> pages;
        limitAddressSpace(pages * static_cast<rlim_t>(::sysconf(_SC_PAGESIZE)) + kSmallPieces);
    }

    void openAddressSpace() { limitAddressSpace(RLIM_INFINITY); }
};

TEST_F(Exhaustion, of_threads_leaves_the_connection_open_and_unserved) {
    start();
    EXPECT_FALSE(canon().isLiveViewZoom(0));
    closeAddressSpace();
    // Stacks of ended threads may be at hand still; sooner or later there is none.
    std::list<RawClient> clients;
    while (helper().err().count("TarvoRemote: Error creating task thread\n") == 0 && clients.size() < 500) {
        clients.emplace_back(helper().port()).send({10, 19, 0, 0, 0, 0});
        eventually([&] {
            return helper().err().count(" task thread\n") + helper().err().count("byte stack.\n") >
                   clients.size();
        });
    }
    ASSERT_EQ(helper().err().count("TarvoRemote: Error creating task thread\n"), 1u);
    clients.back().expectSilence();
    // The others do not suffer from it.
    EXPECT_FALSE(canon().isLiveViewZoom(0));
    openAddressSpace();
    expectServing();
    clients.back().expectSilence();
}

TEST_F(Exhaustion, of_threads_is_no_failure_of_the_library_s_start) {
    start();
    EXPECT_FALSE(canon().isLiveViewZoom(0));
    closeAddressSpace();
    EXPECT_EQ(canon().initializeSdk(), 0);
    EXPECT_EQ(helper().out().count("CanonEds: Creating thread 0x"), 1u);
    EXPECT_EQ(helper().out().count("CanonEds: Creating thread 0x0\n"), 0u);
    openAddressSpace();
    EXPECT_TRUE(lab().calls("EdsInitializeSDK").empty());
    EXPECT_TRUE(canon().cameraList().empty());
    EXPECT_EQ(canon().initializeSdk(), 0);
    // The flag is set already, so this answer does not wait for the library.
    EXPECT_TRUE(eventually([&] { return canon().cameraList().size() == 1; }));
}

}  // namespace
}  // namespace e2e
