/* crowd.h: connections that keep a camera busy while a test does something to it.
 *
 * Any answer is a right one: what counts is that every call is answered in full.
 *
 * Thread: add() and disperse() on the test's; each member has its own.
 * Owns:   the members' threads, until disperse() or the end of the object.
 */
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <list>
#include <thread>

#include "tests/e2e/support/patience.h"

namespace e2e {

/** `Calls` speak for a module and `Handle` names a camera in it. */
template <class Calls, class Handle>
class Crowd {
public:
    /** What a member does, again and again; `turn` counts from 0. */
    using Habit = std::function<void(Calls& calls, Handle camera, int turn)>;

    Crowd(int port, Handle camera) : port_(port), camera_(camera) {}
    ~Crowd() { disperse(); }
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    void add(const Habit& habit) {
        threads_.emplace_back([this, habit] {
            Calls own(port_);
            for (int turn = 0; !isOver_; ++turn) {
                habit(own, camera_, turn);
                ++turns_;
            }
        });
    }
    /** Until so many more turns are through. */
    void awaitTurns(int turns) {
        const int from = turns_;
        EXPECT_TRUE(eventually([&] { return turns_ >= from + turns; }));
    }
    void disperse() {
        isOver_ = true;
        for (std::thread& thread : threads_) {
            thread.join();
        }
        threads_.clear();
    }

private:
    const int port_;
    const Handle camera_;
    std::atomic<bool> isOver_{false};
    std::atomic<int> turns_{0};
    std::list<std::thread> threads_;
};

}  // namespace e2e
