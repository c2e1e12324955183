/* Pipeline.h: frames of one webcam, decoded and converted.
 *
 *   webcam ! caps of the mode ! queue of one ! decoder ! conversion and scaling ! BGRA ! application
 *
 * The queue drops what is old, so a machine that is too slow for a webcam sees fewer frames, not older ones.
 *
 * Thread: the pipeline's states change on a thread of its own, which is the only one that waits for a
 *         driver; frames come on threads of GStreamer.
 * Owns:   the thread shares in it until the pipeline is down.
 */
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>

#include "frameworks/QTKit/gstreamer/Copies.h"
#include "frameworks/QTKit/gstreamer/Trouble.h"
#include "frameworks/QTKit/gstreamer/Webcam.h"

namespace capture {

class Pipeline final : public Source, public std::enable_shared_from_this<Pipeline> {
public:
    static std::shared_ptr<Source> start(std::shared_ptr<const Webcam> webcam, std::optional<FrameSize> size,
                                         std::shared_ptr<StreamListener> listener);
    Pipeline(std::shared_ptr<const Webcam> webcam, std::optional<FrameSize> size,
             std::shared_ptr<StreamListener> listener);

    void stop() override;

    // For GStreamer, on its threads.
    void takeSample(GstSample* sample);
    void takeMessage(GstMessage* message);

private:
    void run();
    Failure playBest();
    Failure play(const Choice& choice);
    void tell(const Failure& failure);
    std::optional<Trouble> waitForEnd();
    std::optional<Trouble> whatHappened();
    bool hasFrames();

    const std::shared_ptr<const Webcam> webcam_;
    const std::optional<FrameSize> size_;
    std::shared_ptr<StreamListener> listener_;  // the thread's, which lets go of it in the end
    bool hasTold_ = false;                      // the thread's: of a failure
    Copies copies_;                             // GStreamer's thread's

    std::mutex mutex_;
    std::condition_variable changed_;
    bool isStopped_ = false;  // guarded by mutex_, as below
    bool hasFrames_ = false;
    std::optional<Trouble> trouble_;  // the first there was
};

}  // namespace capture
