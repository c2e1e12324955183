#include "tests/QTKit/witnesses.h"

#include <algorithm>
#include <utility>

#include "platform/CallScope.h"
#include "tests/e2e/support/patience.h"

namespace test {

std::vector<uint8_t> SeenFrame::pixel(size_t x, size_t y) const {
    const auto at = bytes.begin() + static_cast<std::ptrdiff_t>(y * bytesPerRow + x * 4);
    return {at, at + 4};
}

std::vector<uint8_t> bytesOf(CVImageBuffer& frame) {
    EXPECT_EQ(frame.lockBaseAddress(), kCVReturnSuccess);
    const auto* base = static_cast<const uint8_t*>(frame.baseAddress());
    std::vector<uint8_t> bytes(base, base + frame.dataSize());
    frame.unlockBaseAddress();
    return bytes;
}

void Taker::captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(
    QTCaptureDecompressedVideoOutput* captureOutput, CVImageBuffer* videoFrame, void* /*sampleBuffer*/,
    QTCaptureConnection* connection) {
    mostUnderway = std::max<int>(++underway, mostUnderway);
    output_ = captureOutput;
    connection_ = connection;
    std::function<void(CVImageBuffer&)> work;
    {
        const std::lock_guard guard(mutex_);
        work = work_;
        SeenFrame frame{videoFrame->width(),
                        videoFrame->height(),
                        videoFrame->bytesPerRow(),
                        videoFrame->dataSize(),
                        {},
                        std::this_thread::get_id()};
        if (keepsBytes) frame.bytes = bytesOf(*videoFrame);
        if (keepsFrames) kept_.push_back(Ref<CVImageBuffer>::share(videoFrame));
        seen_.push_back(std::move(frame));
    }
    if (work) work(*videoFrame);
    ++count_;
    --underway;
}

std::vector<SeenFrame> Taker::seen() const {
    const std::lock_guard guard(mutex_);
    return seen_;
}

bool Taker::waitForMore(size_t frames) const {
    const size_t wanted = count_ + frames;
    return e2e::eventually([&] { return count_ >= wanted; });
}

void Taker::setWork(std::function<void(CVImageBuffer&)> work) {
    const std::lock_guard guard(mutex_);
    work_ = std::move(work);
}

std::vector<Ref<CVImageBuffer>> Taker::takeKept() {
    const std::lock_guard guard(mutex_);
    return std::exchange(kept_, {});
}

Hearer::Hearer() {
    NSNotificationCenter::defaultCenter().addObserver(*this, QTCaptureSessionRuntimeErrorNotification);
}

Hearer::~Hearer() = default;

void Hearer::handleNotification(NSNotification& notification) {
    std::function<void()> work;
    {
        const std::lock_guard guard(mutex_);
        work = work_;
        const NSError* const error = notification.error();
        heard_.push_back({notification.object(), error == nullptr ? 0 : error->code(),
                          std::this_thread::get_id(), error == nullptr ? "" : error->localizedDescription()});
    }
    if (work) work();
}

std::vector<Hearer::Heard> Hearer::heard() const {
    const std::lock_guard guard(mutex_);
    return heard_;
}

bool Hearer::waitFor(size_t count) const {
    return e2e::eventually([&] { return heard().size() >= count; });
}

void Hearer::setWork(std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    work_ = std::move(work);
}

void Gate::pass() {
    std::unique_lock lock(mutex_);
    ++waiting_;
    changed_.wait(lock, [this] { return isOpen_; });
}

void Gate::open() {
    const std::lock_guard guard(mutex_);
    isOpen_ = true;
    changed_.notify_all();
}

bool Gate::waitForSomebody() {
    return e2e::eventually([this] {
        const std::lock_guard guard(mutex_);
        return waiting_ > 0;
    });
}

Chain::~Chain() {
    if (session) session->stopRunning();
    if (output) output->setDelegate(nullptr);
    if (device) device->close();
}

Chain chainOf(const Ref<QTCaptureDevice>& device) {
    const CallScope scope;
    NSError* error = nullptr;
    Chain chain;
    chain.device = device;
    EXPECT_TRUE(chain.device->open(&error));
    chain.input = Ref<QTCaptureDeviceInput>::adopt(QTCaptureDeviceInput::createWithDevice(*chain.device));
    chain.output = Ref<QTCaptureDecompressedVideoOutput>::adopt(QTCaptureDecompressedVideoOutput::create());
    chain.session = Ref<QTCaptureSession>::adopt(QTCaptureSession::create());
    chain.taker = Ref<Taker>::adopt(new Taker);
    chain.output->setDelegate(&*chain.taker);
    EXPECT_TRUE(chain.session->addInput_error(*chain.input, &error));
    EXPECT_TRUE(chain.session->addOutput_error(*chain.output, &error));
    EXPECT_EQ(error, nullptr);
    return chain;
}

PixelBufferAttributes sized(double width, double height) {
    PixelBufferAttributes attributes;
    attributes.width = width;
    attributes.height = height;
    return attributes;
}

}  // namespace test
