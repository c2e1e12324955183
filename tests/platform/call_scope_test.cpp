#include "platform/CallScope.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

/** The names of objects that went, in that order. */
std::string gone;

struct Named {
    explicit Named(char letter) : name(letter) {}
    ~Named() { gone += name; }
    Named(const Named&) = delete;
    Named& operator=(const Named&) = delete;
    char name;
};

Named* temporary(char name) {
    return autorelease(std::make_unique<Named>(name));
}

class CallScopes : public testing::Test {
protected:
    void SetUp() override { gone.clear(); }
};

TEST_F(CallScopes, release_their_objects_newest_first) {
    {
        const CallScope scope;
        EXPECT_EQ('a', temporary('a')->name);
        temporary('b');
        EXPECT_EQ("", gone);
    }
    EXPECT_EQ("ba", gone);
}

TEST_F(CallScopes, take_only_what_comes_while_they_are_innermost) {
    const CallScope* outer = new CallScope;
    temporary('a');
    {
        const CallScope inner;
        temporary('b');
    }
    EXPECT_EQ("b", gone);
    temporary('c');
    delete outer;
    EXPECT_EQ("bca", gone);
}

TEST_F(CallScopes, call_the_object_s_own_deleter) {
    int released = 0;
    {
        const CallScope scope;
        autorelease(&released, [](void* object) { ++*static_cast<int*>(object); });
    }
    EXPECT_EQ(1, released);
}

TEST_F(CallScopes, ignore_null) {
    const CallScope scope;
    autorelease(nullptr, [](void*) { ADD_FAILURE() << "called"; });
    EXPECT_EQ(nullptr, autorelease(std::unique_ptr<Named>()));
}

TEST_F(CallScopes, take_what_a_deleter_hands_over_too) {
    {
        const CallScope scope;
        autorelease(&gone, [](void*) { temporary('x'); });
    }
    EXPECT_EQ("x", gone);
}

TEST_F(CallScopes, are_each_thread_s_own) {
    const CallScope scope;
    temporary('a');
    std::thread([] {
        const CallScope own;
        temporary('b');
    }).join();
    EXPECT_EQ("b", gone);
}

TEST_F(CallScopes, end_with_the_thread_when_there_is_none) {
    std::thread([] {
        temporary('a');
        temporary('b');
        EXPECT_EQ("", gone);
    }).join();
    EXPECT_EQ("ba", gone);
}

struct LeavesOneBehind {
    ~LeavesOneBehind() { temporary('z'); }
};

TEST_F(CallScopes, still_release_what_comes_while_the_thread_ends) {
    std::thread([] {
        // Made before the thread's outermost scope, so it goes after it.
        thread_local LeavesOneBehind last;
        static_cast<void>(&last);
        temporary('a');
    }).join();
    EXPECT_EQ("az", gone);
}

}  // namespace
