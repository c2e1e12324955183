#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "host/client/ErrorText.h"
#include "host/client/Jpeg.h"
#include "host/client/protocol.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/FrameSource.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/LiveFiles.h"
#include "host/tarvo/NikonFrames.h"

namespace tarvo {
namespace {

using namespace std::chrono_literals;

// A camera needs a while from the start of live view to its first frame.
constexpr auto kFirstFrameLimit = 15s;
constexpr auto kFrameLimit = 10s;
constexpr auto kRetry = 20ms;

class CanonFrames : public FrameSource {
public:
    explicit CanonFrames(CameraAccess& access) : access_(access) {}
    ~CanonFrames() override {
        if (!isOn_) return;
        const auto status = access_.client().stopLiveView(access_.handle());
        if (!status.ok() || status.value != kStatusOk) note("live view could not be switched off");
    }

    int start() override {
        const auto status = access_.client().startLiveView(access_.handle());
        if (!status.ok()) return report(status.error);
        if (status.value != kStatusOk) {
            complain("'{}' does not start live view: {}", access_.name(), statusSentence(status.value));
            return kExitFailed;
        }
        isOn_ = true;
        return kExitOk;
    }
    int zoom(const std::vector<float>& position) override {
        // The zoom holds from the next frame on, and the position only while there is a zoom.
        auto& client = access_.client();
        if (auto error = client.setLiveViewZoom(access_.handle(), true)) return report(error);
        if (position.size() != 2) return kExitOk;
        return report(client.setLiveViewZoomPosition(access_.handle(), position[0], position[1]));
    }
    Result<std::vector<uint8_t>> frame() override {
        auto image = access_.client().getLiveViewImage(access_.handle());
        // The array is as long as the longest frame so far: what follows the picture's end is not its own.
        const size_t length = jpegLength(image.value);
        if (length > 0) image.value.resize(length);
        return image;
    }
    bool tellsGone(const Event& event) override {
        const auto* state = std::get_if<StateEvent>(&event);
        return state != nullptr && state->handle == access_.handle() && state->event == kStateEventShutdown;
    }

private:
    CameraAccess& access_;
    bool isOn_ = false;
};

class FrameSaver {
public:
    FrameSaver(CameraAccess& access, const LiveOptions& options)
        : access_(access), options_(options), files_(options.target, ".jpg") {}

    int prepare() { return files_.prepare("live", options_.frames); }
    int run(FrameSource& source);

private:
    int fetch(FrameSource& source, std::vector<uint8_t>& frame);

    CameraAccess& access_;  // whose events tell that the camera has gone
    const LiveOptions& options_;
    LiveFiles files_;
    int count_ = 0;
    bool didWarn_ = false;
};

int FrameSaver::fetch(FrameSource& source, std::vector<uint8_t>& frame) {
    const auto end = Clock::now() + (count_ == 0 ? kFirstFrameLimit : kFrameLimit);
    for (;;) {
        auto image = source.frame();
        if (!image.ok()) return report(image.error);
        if (!image.value.empty()) {
            frame = std::move(image.value);
            break;
        }
        Event event;
        while (access_.events().tryNext(event)) {
            if (!source.tellsGone(event)) continue;
            complain("the camera was unplugged or switched off after {} frames", count_);
            return kExitFailed;
        }
        if (Clock::now() >= end) {
            complain("the camera shows no live-view frame. It may have switched live view off by itself");
            return kExitTimeout;
        }
        if (interrupt::pauseUntil(Clock::now() + kRetry)) return kExitInterrupted;
    }
    if (jpegLength(frame) == 0 && !didWarn_) {
        note("frames are no JPEG pictures; they are stored as they come");
        didWarn_ = true;
    }
    return kExitOk;
}

int FrameSaver::run(FrameSource& source) {
    if (const int status = source.start(); status != kExitOk) return status;
    if (options_.isZoomed) {
        if (const int status = source.zoom(options_.position); status != kExitOk) return status;
    }
    const auto begin = Clock::now();
    auto next = begin;
    while (options_.frames == 0 || count_ < options_.frames) {
        std::vector<uint8_t> frame;
        int status = fetch(source, frame);
        if (status == kExitOk) {
            status = files_.store(count_ + 1, frame, fmt::format("{} bytes", frame.size()));
        }
        if (status == kExitInterrupted) break;
        if (status != kExitOk) return status;
        ++count_;
        if (options_.fps > 0)
            next +=
                std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / options_.fps));
        if (options_.frames != 0 && count_ == options_.frames) break;
        if (interrupt::pauseUntil(next)) break;
        next = std::max(next, options_.fps > 0 ? Clock::now() - 1s : next);
    }
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    note("{} frames in {:.1f} s, {:.1f} a second", count_, seconds, seconds > 0 ? count_ / seconds : 0.0);
    const bool wasEndless = options_.frames == 0;
    return wasEndless || count_ == options_.frames ? kExitOk : kExitInterrupted;
}

}  // namespace

int runLive(const CommonOptions& common, const LiveOptions& options) {
    CameraAccess access;
    FrameSaver saver(access, options);
    if (const int status = saver.prepare(); status != kExitOk) return status;
    if (const int status = access.connect(common); status != kExitOk) return status;
    if (const int status = access.openCamera(); status != kExitOk) return status;
    if (access.isNikon()) {
        NikonFrames frames(access);
        return saver.run(frames);
    }
    CanonFrames frames(access);
    return saver.run(frames);
}

void addLive(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("live", "Save live-view frames");
    auto options = std::make_shared<LiveOptions>();
    addLiveTarget(*command, options->target, ".jpg");
    command->add_option("--frames", options->frames, "End after so many frames; 0: on Ctrl-C")
        ->check(CLI::Range(0, 100'000'000))
        ->capture_default_str();
    command->add_option("--fps", options->fps, "At most so many frames a second; 0: as fast as they come")
        ->check(numberFrom(0.0, 1000.0))
        ->capture_default_str();
    auto* zoom = command->add_flag("--zoom", options->isZoomed,
                                   "Enlarged: five times, or as far as a Nikon camera does");
    command
        ->add_option("--position", options->position,
                     "Where to enlarge, as two fractions of the picture: X Y")
        ->expected(2)
        ->check(numberFrom(0.0, 1.2))
        ->needs(zoom);
    describe(*command,
             "Live view is switched off again at the end, and a Nikon camera's enlargement set back.\n\n"
             "Examples:\n"
             "  tarvo live --path preview/live --frames 25 --fps 5\n"
             "  tarvo live --single now.jpg\n"
             "  tarvo live --zoom --position 0.5 0.5 --single focus.jpg\n");
    command->callback([options, &invocation] { invocation.status = runLive(invocation.common, *options); });
}

}  // namespace tarvo
