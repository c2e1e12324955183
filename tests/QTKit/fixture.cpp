#include "tests/QTKit/fixture.h"

#include <algorithm>

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
    return eventually([&] { return count_ >= wanted; });
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
        const int64_t code = notification.error() == nullptr ? 0 : notification.error()->code();
        heard_.push_back({notification.object(), code, std::this_thread::get_id()});
    }
    if (work) work();
}

std::vector<Hearer::Heard> Hearer::heard() const {
    const std::lock_guard guard(mutex_);
    return heard_;
}

bool Hearer::waitFor(size_t count) const {
    return eventually([&] { return heard().size() >= count; });
}

void Hearer::setWork(std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    work_ = std::move(work);
}

void QTKitTest::SetUp() {
    start({Json::object()});
}

void QTKitTest::TearDown() {
    // Frame threads end soon after their sessions do.
    for (const char* kind : {"devices", "inputs", "outputs", "sessions", "frames"}) {
        EXPECT_TRUE(eventually([&] { return living(kind) == 0; })) << kind << " still live: " << living(kind);
    }
}

void QTKitTest::start(const std::vector<Json>& devices) {
    Json all = Json::array();
    for (const Json& fields : devices) {
        Json device = {{"id", "v-" + std::to_string(all.size() + 1)}, {"family", "video"}};
        device.update(fields);
        all.push_back(device);
    }
    lay(all);
}

Ref<QTCaptureDevice> QTKitTest::device(size_t index) {
    const CallScope scope;
    const QTCaptureDeviceList* list = QTCaptureDevice::inputDevices();
    EXPECT_NE(list, nullptr);
    if (list == nullptr || index >= list->size()) return {};
    return (*list)[index];
}

QTKitTest::Chain::~Chain() {
    if (session) session->stopRunning();
    if (output) output->setDelegate(nullptr);
    if (device) device->close();
}

QTKitTest::Chain QTKitTest::chain(size_t index) {
    const CallScope scope;
    NSError* error = nullptr;
    Chain chain;
    chain.device = device(index);
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

int64_t QTKitTest::living(const char* kind) {
    return must({{"cmd", "state"}})["libraries"]["QTKit"]["objects"][kind];
}

PixelBufferAttributes QTKitTest::sized(double width, double height) {
    PixelBufferAttributes attributes;
    attributes.width = width;
    attributes.height = height;
    return attributes;
}

}  // namespace test
