#include "frameworks/QTKit/gstreamer/Pipeline.h"

#include <gst/app/gstappsink.h>

#include <cstring>
#include <new>
#include <utility>

#include "frameworks/QTKit/gstreamer/Elements.h"
#include "frameworks/QTKit/gstreamer/Errors.h"
#include "frameworks/QTKit/gstreamer/Frame.h"
#include "frameworks/QTKit/gstreamer/Threads.h"

namespace capture {

namespace {

GstFlowReturn onSample(GstAppSink* sink, gpointer pipeline) {
    const Held<GstSample> sample(gst_app_sink_pull_sample(sink));
    if (sample) static_cast<Pipeline*>(pipeline)->takeSample(sample.get());
    return GST_FLOW_OK;
}

/** On whatever thread reports; nobody reads the bus. */
GstBusSyncReply onMessage(GstBus* /*bus*/, GstMessage* message, gpointer pipeline) {
    static_cast<Pipeline*>(pipeline)->takeMessage(message);
    gst_message_unref(message);
    return GST_BUS_DROP;
}

/** In a buffer of the node's driver. */
bool isInDriverMemory(const GstBuffer& buffer) {
    return buffer.pool != nullptr && std::strcmp(G_OBJECT_TYPE_NAME(buffer.pool), "GstV4l2BufferPool") == 0;
}

void listen(const Elements& elements, Pipeline& pipeline) {
    const Held<GstBus> bus(gst_element_get_bus(elements.pipeline.get()));
    gst_bus_set_sync_handler(bus.get(), onMessage, &pipeline, nullptr);
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = onSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(elements.sink), &callbacks, &pipeline, nullptr);
}

}  // namespace

std::shared_ptr<Source> Pipeline::start(std::shared_ptr<const Webcam> webcam, std::optional<FrameSize> size,
                                        std::shared_ptr<StreamListener> listener) {
    auto pipeline = std::make_shared<Pipeline>(std::move(webcam), size, std::move(listener));
    startThread("capture-device", [pipeline] { pipeline->run(); });
    return pipeline;
}

Pipeline::Pipeline(std::shared_ptr<const Webcam> webcam, std::optional<FrameSize> size,
                   std::shared_ptr<StreamListener> listener)
    : webcam_(std::move(webcam)), size_(size), listener_(std::move(listener)) {}

void Pipeline::stop() {
    {
        const std::lock_guard guard(mutex_);
        isStopped_ = true;
    }
    changed_.notify_all();
}

void Pipeline::takeSample(GstSample* sample) {
    GstBuffer* const original = gst_sample_get_buffer(sample);
    if (original == nullptr) return;
    // A driver has few buffers, and its device stays taken until it has all of them back: a frame that a host
    // still looks at would be in the way of the next stream.
    const Held<GstBuffer> copy = isInDriverMemory(*original) ? copies_.of(*sample) : nullptr;
    Ref<CVImageBuffer> frame = Frame::of(copy ? copy.get() : original, gst_sample_get_caps(sample));
    if (!frame) return;  // one that cannot be shown is as good as none
    {
        const std::lock_guard guard(mutex_);
        hasFrames_ = true;
    }
    listener_->frameArrived(std::move(frame));
}

void Pipeline::takeMessage(GstMessage* message) {
    try {
        std::optional<Trouble> trouble = troubleOf(message);
        if (!trouble) return;
        const std::lock_guard guard(mutex_);
        if (!trouble_) trouble_ = std::move(trouble);
    } catch (const std::bad_alloc&) {
        const std::lock_guard guard(mutex_);
        if (!trouble_) trouble_ = Trouble{};
    }
    changed_.notify_all();
}

void Pipeline::run() {
    Failure failure;
    try {
        failure = playBest();
    } catch (const std::bad_alloc&) {
        failure = {kErrorNoResources};
    }
    if (failure) tell(failure);
    listener_->streamEnded();
    listener_ = nullptr;
}

/** What a device offers it need not keep; then it is asked for less. */
Failure Pipeline::playBest() {
    Failure failure{kErrorNoUsableMode};
    for (const Choice& choice : choicesFor(webcam_->modes(), size_)) {
        failure = play(choice);
        if (failure.code != kErrorNoUsableMode) return failure;
        const std::lock_guard guard(mutex_);
        if (isStopped_) return {};
        trouble_ = std::nullopt;
    }
    return failure;
}

Failure Pipeline::play(const Choice& choice) {
    Elements elements;
    if (Failure failure = makeElements(*webcam_, choice, size_, elements)) return failure;
    listen(elements, *this);
    const bool isStarting =
        gst_element_set_state(elements.pipeline.get(), GST_STATE_PLAYING) != GST_STATE_CHANGE_FAILURE;
    const std::optional<Trouble> trouble = isStarting ? waitForEnd() : whatHappened();
    Failure failure;
    if (trouble) {
        failure = failureOf(*trouble, hasFrames(), *webcam_);
    } else if (!isStarting) {
        failure = {kErrorStreamFailed};
    }
    // Before the pipeline goes down: a driver whose device was pulled out may not let it.
    if (failure && failure.code != kErrorNoUsableMode) tell(failure);
    gst_element_set_state(elements.pipeline.get(), GST_STATE_NULL);
    return failure;
}

void Pipeline::tell(const Failure& failure) {
    if (!std::exchange(hasTold_, true)) listener_->streamFailed(failure);
}

/** Until it fails, or is stopped, which is no trouble. */
std::optional<Trouble> Pipeline::waitForEnd() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isStopped_ || trouble_; });
    return isStopped_ ? std::nullopt : trouble_;
}

std::optional<Trouble> Pipeline::whatHappened() {
    const std::lock_guard guard(mutex_);
    return trouble_;
}

bool Pipeline::hasFrames() {
    const std::lock_guard guard(mutex_);
    return hasFrames_;
}

}  // namespace capture
