#include "tests/QTKitCapture/FakeCapture.h"

#include <algorithm>

#include "platform/CallScope.h"

const NotificationName QTCaptureSessionRuntimeErrorNotification = {
    "QTCaptureSessionRuntimeErrorNotification"};

namespace {

FakeCapture& framework() {
    return FakeCapture::framework();
}

struct Frame final : CVImageBuffer {
    explicit Frame(const FakeFrame& of) : frame(of) {
        ++framework().liveFrames;
        if (frame.bytesPerRow == 0) frame.bytesPerRow = frame.width * 4;
        if (frame.isHollow) return;
        bytes.assign(frame.height * frame.bytesPerRow, 0xEE);
        for (size_t y = 0; y < frame.height; ++y) {
            for (size_t x = 0; x < frame.width; ++x) {
                const uint32_t word = patternWord(x, y, frame.number);
                for (size_t i = 0; i < 4; ++i) {
                    const size_t at = y * frame.bytesPerRow + x * 4 + i;
                    if (at < bytes.size()) bytes[at] = static_cast<uint8_t>(word >> 8 * i);
                }
            }
        }
    }
    ~Frame() override { --framework().liveFrames; }

    CVReturn lockBaseAddress() override {
        if (!frame.locks) return -6660;
        ++framework().lockedFrames;
        return kCVReturnSuccess;
    }
    void unlockBaseAddress() override { --framework().lockedFrames; }
    const void* baseAddress() const override {
        static const uint8_t nowhere = 0;
        if (!frame.hasMemory) return nullptr;
        return frame.isHollow ? &nowhere : bytes.data();
    }
    size_t width() const override { return frame.width; }
    size_t height() const override { return frame.height; }
    size_t bytesPerRow() const override { return frame.bytesPerRow; }
    size_t dataSize() const override { return bytes.size(); }

    FakeFrame frame;
    std::vector<uint8_t> bytes;
};

struct Device final : QTCaptureDevice {
    explicit Device(const FakeDevice& of) : device(of) {}
    FakeDevice device;
    std::atomic<bool> isOpened{false};

    const std::string& localizedDisplayName() const override { return device.name; }
    const std::string& uniqueID() const override { return device.uniqueId; }
    bool hasMediaType(QTMediaType type) const override {
        return std::find(device.media.begin(), device.media.end(), type) != device.media.end();
    }
    bool open(NSError** error) override {
        framework().note("open " + device.name);
        isOpened = device.opens;
        if (device.opensWithError) {
            *error = new NSError("QTKit", 17, "half open");
            autorelease(*error, [](void* lent) { static_cast<NSError*>(lent)->release(); });
        }
        return device.opens;
    }
    bool isOpen() const override { return isOpened; }
    void close() override {
        framework().note("close " + device.name);
        isOpened = false;
    }
};

struct Connection final : QTCaptureConnection {
    explicit Connection(QTMediaType of) : type(of) {}
    QTMediaType type;
    std::atomic<bool> isOn{true};

    QTMediaType mediaType() const override { return type; }
    void setEnabled(bool isEnabled) override {
        constexpr const char* kNames[] = {"video", "muxed", "sound"};
        framework().note(std::string("setEnabled ") + kNames[static_cast<size_t>(type)] +
                         (isEnabled ? " 1" : " 0"));
        isOn = isEnabled;
    }
    bool isEnabled() const override { return isOn; }
};

struct Input final : QTCaptureDeviceInput {
    explicit Input(QTCaptureDevice& of) : from(Ref<QTCaptureDevice>::share(&of)) {
        for (const QTMediaType type : static_cast<Device&>(of).device.media) {
            all.push_back(Ref<QTCaptureConnection>::adopt(new Connection(type)));
        }
    }
    QTCaptureDevice& device() const override { return *from; }
    const std::vector<Ref<QTCaptureConnection>>& connections() const override { return all; }

    Ref<QTCaptureDevice> from;
    std::vector<Ref<QTCaptureConnection>> all;
};

struct Output final : QTCaptureDecompressedVideoOutput {
    std::mutex mutex;
    QTCaptureDecompressedVideoOutputDelegate* delegate = nullptr;

    void setPixelBufferAttributes(const PixelBufferAttributes& attributes) override {
        std::string call = "setPixelBufferAttributes";
        if (attributes.width && attributes.height) {
            call += " " + std::to_string(static_cast<int>(*attributes.width)) + "x" +
                    std::to_string(static_cast<int>(*attributes.height));
        }
        if (attributes.pixelFormat != 0x42475241) call += " of another format";
        framework().note(call);
    }
    void setDelegate(QTCaptureDecompressedVideoOutputDelegate* to) override {
        const std::lock_guard guard(mutex);
        delegate = to;
    }
    void deliver(CVImageBuffer* frame) {
        Ref<NSObject> keeps;
        QTCaptureDecompressedVideoOutputDelegate* to = nullptr;
        {
            const std::lock_guard guard(mutex);
            to = delegate;
            if (to != nullptr) keeps = Ref<NSObject>::share(&to->delegateObject());
        }
        if (to == nullptr) return;
        to->captureOutput_didOutputVideoFrame_withSampleBuffer_fromConnection(this, frame, nullptr, nullptr);
    }
};

}  // namespace

struct FakeCapture::Session final : QTCaptureSession {
    bool addInput_error(QTCaptureDeviceInput& added, NSError**) override {
        framework().note("addInput");
        input = Ref<QTCaptureDeviceInput>::share(&added);
        return framework().addsInput;
    }
    bool addOutput_error(QTCaptureDecompressedVideoOutput& added, NSError**) override {
        framework().note("addOutput");
        output = Ref<Output>::share(static_cast<Output*>(&added));
        return framework().addsOutput;
    }
    void startRunning() override {
        framework().note("startRunning");
        runs = true;
    }
    void stopRunning() override {
        framework().note("stopRunning");
        runs = false;
        stillRunning = framework().slowStops;
    }
    bool isRunning() const override { return runs || stillRunning-- > 0; }

    Ref<QTCaptureDeviceInput> input;
    Ref<Output> output;
    std::atomic<bool> runs{false};
    mutable std::atomic<int> stillRunning{0};
};

uint32_t patternWord(size_t x, size_t y, uint32_t number) {
    const auto low = [](size_t value) { return static_cast<uint32_t>(value & 0xFF); };
    return 128U << 24 | low(number) << 16 | low(y + number) << 8 | low(x + number);
}

std::vector<uint32_t> patternWords(size_t width, size_t height, uint32_t number) {
    std::vector<uint32_t> words;
    for (size_t y = 0; y < height; ++y) {
        for (size_t x = 0; x < width; ++x) {
            words.push_back(patternWord(x, y, number));
        }
    }
    return words;
}

Ref<CVImageBuffer> makeFrame(const FakeFrame& frame) {
    return Ref<CVImageBuffer>::adopt(new Frame(frame));
}

FakeCapture& FakeCapture::framework() {
    static FakeCapture theFramework;
    return theFramework;
}

void FakeCapture::reset(const std::vector<std::optional<FakeDevice>>& devices) {
    devices_.clear();
    session_ = {};
    latest_ = nullptr;
    hasNoList = false;
    addsInput = addsOutput = makesInput = true;
    slowStops = 0;
    for (const std::optional<FakeDevice>& device : devices) {
        devices_.push_back(device ? Ref<QTCaptureDevice>::adopt(new Device(*device))
                                  : Ref<QTCaptureDevice>{});
    }
    forget();
}

Ref<QTCaptureDevice> FakeCapture::device(size_t index) {
    return devices_.at(index);
}

void FakeCapture::remember(Session* session) {
    latest_ = session;
    session_ = Ref<NSObject>::share(session);
}

void FakeCapture::deliver(const FakeFrame& frame) {
    deliver(makeFrame(frame));
}

void FakeCapture::deliver(const Ref<CVImageBuffer>& frame) {
    if (latest_ != nullptr && latest_->output) latest_->output->deliver(frame.get());
}

void FakeCapture::raise(int64_t code) {
    const auto error = Ref<NSError>::adopt(new NSError("QTKit", code, "gone"));
    const auto notification = Ref<NSNotification>::adopt(
        new NSNotification(QTCaptureSessionRuntimeErrorNotification, latest_, error.get()));
    NSNotificationCenter::defaultCenter().postNotification(*notification);
}

std::vector<std::string> FakeCapture::calls() {
    const std::lock_guard guard(mutex_);
    return calls_;
}

void FakeCapture::forget() {
    const std::lock_guard guard(mutex_);
    calls_.clear();
}

void FakeCapture::note(const std::string& call) {
    const std::lock_guard guard(mutex_);
    calls_.push_back(call);
}

const QTCaptureDeviceList* QTCaptureDevice::inputDevices() {
    return framework().hasNoList ? nullptr : &framework().devices_;
}

QTCaptureDeviceInput* QTCaptureDeviceInput::createWithDevice(QTCaptureDevice& device) {
    return framework().makesInput ? new Input(device) : nullptr;
}

QTCaptureDecompressedVideoOutput* QTCaptureDecompressedVideoOutput::create() {
    return new Output;
}

QTCaptureSession* QTCaptureSession::create() {
    auto* session = new FakeCapture::Session;
    framework().remember(session);
    return session;
}
