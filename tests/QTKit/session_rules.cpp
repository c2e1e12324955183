#include "tests/QTKit/session_rules.h"

#include <future>
#include <memory>

#include "platform/CallScope.h"
#include "tests/e2e/support/patience.h"

namespace test {

void deliverOnAThreadOfTheFramework(Chain& chain) {
    EXPECT_FALSE(chain.session->isRunning());
    chain.session->startRunning();
    EXPECT_TRUE(chain.session->isRunning());
    ASSERT_TRUE(chain.taker->waitForMore(3));
    for (const SeenFrame& frame : chain.taker->seen()) {
        EXPECT_NE(frame.thread, std::this_thread::get_id());
        EXPECT_EQ(frame.thread, chain.taker->seen().front().thread);
    }
    EXPECT_EQ(chain.taker->lastOutput(), &*chain.output);
    EXPECT_EQ(chain.taker->lastConnection(), &*chain.input->connections().at(0));
}

void holdTheDelegateWhileTheyCallIt(Chain& chain) {
    const auto gate = std::make_shared<Gate>();
    chain.taker->setWork([gate](CVImageBuffer&) { gate->pass(); });
    chain.session->startRunning();
    ASSERT_TRUE(gate->waitForSomebody());
    EXPECT_EQ(chain.taker->retainCount(), 2);
    chain.session->stopRunning();
    chain.output->setDelegate(nullptr);
    chain.taker = {};  // the delivery's reference is the last one
    gate->open();
}

void retainNoDelegateBetweenFrames(Chain& chain) {
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(2));
    chain.session->stopRunning();
    EXPECT_TRUE(e2e::eventually([&] { return chain.taker->retainCount() == 1; }));
}

void letADelegateCallBack(Chain& chain) {
    std::promise<void> done;
    std::atomic<bool> isFirst{true};
    chain.taker->setWork([&](CVImageBuffer&) {
        if (!isFirst.exchange(false)) return;
        chain.session->stopRunning();
        chain.output->setPixelBufferAttributes(sized(8, 8));
        chain.session->startRunning();
        chain.output->setDelegate(nullptr);
        const CallScope scope;
        EXPECT_GE(QTCaptureDevice::inputDevices()->size(), 1u);
        done.set_value();
    });
    chain.session->startRunning();
    EXPECT_EQ(done.get_future().wait_for(e2e::kPatience), std::future_status::ready);
    EXPECT_TRUE(e2e::eventually([&] { return chain.taker->underway == 0; }));
}

void mayEndInsideOfADelivery(Chain& chain, const std::function<bool()>& isOver) {
    std::promise<void> done;
    std::atomic<bool> isFirst{true};
    QTCaptureSession* session = chain.session.take();
    chain.taker->setWork([&, session](CVImageBuffer&) {
        if (!isFirst.exchange(false)) return;
        session->release();
        done.set_value();
    });
    session->startRunning();
    ASSERT_EQ(done.get_future().wait_for(e2e::kPatience), std::future_status::ready);
    EXPECT_TRUE(e2e::eventually([&] { return isOver() && chain.taker->underway == 0; }));
    EXPECT_TRUE(chain.device->isOpen());
}

void surviveCallsFromSeveralThreads(Chain& chain, const std::function<void()>& meanwhile) {
    std::atomic<bool> isOver{false};
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        while (!isOver) {
            chain.session->startRunning();
            chain.session->stopRunning();
        }
    });
    threads.emplace_back([&] {
        for (int i = 1; !isOver; ++i) {
            chain.output->setPixelBufferAttributes(sized(8 + i % 3, 8));
            chain.session->startRunning();
            static_cast<void>(chain.session->isRunning());
        }
    });
    threads.emplace_back([&] {
        while (!isOver) {
            const CallScope scope;
            EXPECT_NE(QTCaptureDevice::inputDevices(), nullptr);
            meanwhile();
        }
    });
    for (int round = 0; round < 50; ++round) {
        chain.session->startRunning();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    isOver = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LE(chain.taker->mostUnderway, 1);
}

}  // namespace test
