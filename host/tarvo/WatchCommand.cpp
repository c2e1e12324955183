#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "host/client/ErrorText.h"
#include "host/client/NikonText.h"
#include "host/client/protocol.h"
#include "host/tarvo/CameraAccess.h"
#include "host/tarvo/Commands.h"
#include "host/tarvo/Console.h"
#include "host/tarvo/ExitStatus.h"
#include "host/tarvo/FrameFiles.h"
#include "host/tarvo/Interrupt.h"
#include "host/tarvo/Properties.h"
#include "host/tarvo/TimeText.h"
#include "host/tarvo/WebcamAccess.h"

namespace tarvo {
namespace {

constexpr int32_t kSecondImageBits = 0xF0;
constexpr std::chrono::hours kLong{24};
constexpr std::chrono::seconds kDownloadLimit{60};
constexpr std::chrono::milliseconds kPollInterval{300};

struct EventName {
    int32_t event;
    const char* text;
};

constexpr auto kEventNames = std::to_array<EventName>({
    {kPropertyEventChanged, "changed"},
    {kPropertyEventOptionsChanged, "options changed"},
    {0x204, "file created on the card"},
    {0x205, "file removed from the card"},
    {kObjectEventRequestTransfer, "file offered"},
    {kStateEventShutdown, "camera gone"},
    {0x302, "jobs changed"},
    {kStateEventWillSoonShutDown, "camera will soon switch itself off"},
    {0x304, "switch-off timer changed"},
    {kStateEventCaptureError, "capture or download failed"},
    {0x306, "error inside the camera"},
});

std::string eventText(int32_t event) {
    for (const auto& name : kEventNames) {
        if (name.event == event) return name.text;
    }
    return fmt::format("event 0x{:X}", static_cast<uint32_t>(event));
}

std::string moduleText(uint8_t module) {
    return module == kModuleNikon ? "nikon" : module == kModuleVideo ? "video" : "canon";
}

std::string propertyName(int32_t id) {
    const auto property = findProperty(fmt::format("0x{:X}", static_cast<uint32_t>(id)));
    return property && property->name[0] != '\0' ? property->name
                                                 : fmt::format("0x{:X}", static_cast<uint32_t>(id));
}

std::string statusText(const StatusEvent& event) {
    const bool isNikon = event.module == kModuleNikon;
    if (isNikon && event.value == kNikonStatusCameraGone) return "camera gone (0)";
    if (isNikon && event.value == kNikonStatusTooHot) return "too hot, live view ends soon (1)";
    if (event.module == kModuleVideo && event.value == kVideoStatusGone) return "webcam unplugged (1)";
    return std::to_string(event.value);
}

uint32_t bits(int32_t value) {
    return static_cast<uint32_t>(value);
}

struct LineWriter {
    std::string value;  // of a property that changed, when it could be read

    std::string operator()(const ObjectEvent& e) const {
        return fmt::format("object    {} (0x{:X}), item 0x{:08X}", eventText(e.event), bits(e.event),
                           bits(e.object));
    }
    std::string operator()(const PropertyEvent& e) const {
        return fmt::format("property  {} {} (0x{:X}){}", propertyName(e.property), eventText(e.event),
                           bits(e.event), value.empty() ? "" : ": " + value);
    }
    std::string operator()(const StateEvent& e) const {
        return fmt::format("state     {} (0x{:X}), parameter {}", eventText(e.event), bits(e.event),
                           e.parameter);
    }
    std::string operator()(const ProgressEvent& e) const { return fmt::format("progress  {} %", e.percent); }
    std::string operator()(const StatusEvent& e) const {
        return fmt::format("status    {} {}", moduleText(e.module), statusText(e));
    }
};

struct JsonWriter {
    nlohmann::json operator()(const ObjectEvent& e) const {
        return {{"kind", "object"}, {"handle", e.handle}, {"event", e.event}, {"object", e.object}};
    }
    nlohmann::json operator()(const PropertyEvent& e) const {
        return {{"kind", "property"},     {"handle", e.handle},       {"event", e.event},
                {"property", e.property}, {"parameter", e.parameter}, {"name", propertyName(e.property)}};
    }
    nlohmann::json operator()(const StateEvent& e) const {
        return {{"kind", "state"}, {"handle", e.handle}, {"event", e.event}, {"parameter", e.parameter}};
    }
    nlohmann::json operator()(const ProgressEvent& e) const {
        return {{"kind", "progress"},
                {"module", moduleText(e.module)},
                {"handle", e.handle},
                {"percent", e.percent}};
    }
    nlohmann::json operator()(const StatusEvent& e) const {
        return {{"kind", "status"}, {"module", moduleText(e.module)}, {"value", e.value}};
    }
};

/** Stores what is taken at the camera itself, frame by frame. */
class Collector {
public:
    Collector(CameraAccess& access, FrameFiles& files) : access_(access), files_(files) {}

    int nameNext() {
        ++number_;
        missing_ = 1;
        const auto status = access_.client().preCapture(access_.handle(), files_.arrivalPath(number_), false);
        if (!status.ok()) return report(status.error);
        if (status.value != kStatusOk) {
            complain("the camera does not get ready: {}", statusSentence(status.value));
            return kExitFailed;
        }
        const auto quality = access_.client().getSetting(access_.handle(), kPropertyQuality);
        if (!quality.ok()) return report(quality.error);
        if ((quality.value & kSecondImageBits) != 0) missing_ = 2;
        return kExitOk;
    }
    void startAfter(int number) { number_ = number; }

    int store(int32_t item) {
        const auto status = access_.client().download(access_.handle(), item, kDownloadLimit);
        if (!status.ok()) return report(status.error);
        if (status.value != kStatusOk) {
            files_.discard();
            complain("a file was not transferred: {} It cannot be asked for again",
                     statusSentence(status.value));
        }
        const auto published = files_.publish(number_);
        for (const auto& file : published.files)
            note("stored {}", file.string());
        if (published.error) return report(published.error);
        const bool counts = status.value != kStatusOk || !published.files.empty();  // a thumbnail does not
        if (counts && --missing_ == 0) return nameNext();
        return kExitOk;
    }

private:
    CameraAccess& access_;
    FrameFiles& files_;
    int number_ = 0;
    int missing_ = 0;  // files of the frame that have not been offered yet
};

/** A Nikon camera reports only while it is asked something, and offers nothing: its pictures are looked for.
 */
class NikonPoller {
public:
    NikonPoller(CameraAccess& access, FrameFiles& files, bool saves)
        : access_(access), files_(files), saves_(saves) {}

    int nameNext(int number) {
        number_ = number;
        auto& nikon = access_.nikon();
        const auto result = nikon.client().preCapture(nikon.camera(), files_.arrivalPath(number));
        if (!result.ok()) return report(result.error);
        if (result.value == kStatusOk) return kExitOk;
        complain("the camera does not get ready: {}", nikonCaptureSentence(result.value));
        return kExitFailed;
    }
    int poll() {
        auto& nikon = access_.nikon();
        if (!saves_) return report(nikon.client().getBatteryLevel(nikon.camera()).error);
        const auto images = nikon.client().checkForImages(nikon.camera(), kDownloadLimit);
        if (!images.ok()) return report(images.error);
        if (images.value == 0) return kExitOk;
        if (images.value < 0) {
            files_.discard();
            complain("a picture that waits on the camera: {}", nikonCheckSentence(images.value));
            return kExitFailed;
        }
        const auto published = files_.publish(number_);
        for (const auto& file : published.files)
            note("stored {}", file.string());
        if (published.error) return report(published.error);
        return nameNext(number_ + 1);
    }

private:
    CameraAccess& access_;
    FrameFiles& files_;
    bool saves_;
    int number_ = 0;
};

void printEvent(CameraAccess& access, const Event& event, const WatchOptions& options) {
    const int64_t time = access.events().arrivalTime();
    if (options.hidesProgress && std::holds_alternative<ProgressEvent>(event)) return;
    if (options.isJson) {
        auto line = std::visit(JsonWriter{}, event);
        line["time"] = time;
        say("{}", line.dump());
        return;
    }
    LineWriter writer;
    const auto* property = std::get_if<PropertyEvent>(&event);
    if (property != nullptr && property->event == kPropertyEventChanged &&
        access.handle() == property->handle) {
        const auto value = access.client().getSetting(access.handle(), property->property);
        if (value.ok()) writer.value = valueText(property->property, value.value);
    }
    say("{}  {}", timeOfDay(time), std::visit(writer, event));
}

int watchEvents(CameraAccess& access, const WatchOptions& options, Collector* collector,
                NikonPoller* poller) {
    const auto end =
        options.seconds > 0
            ? Clock::now() + std::chrono::milliseconds(static_cast<int64_t>(options.seconds * 1000))
            : Clock::now() + 365 * kLong;
    for (int seen = 0; options.count == 0 || seen < options.count; ++seen) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        const auto limit = poller == nullptr ? left : std::min(left, kPollInterval);
        const auto event =
            access.events().next(std::max(limit, std::chrono::milliseconds(0)), interrupt::fd());
        if (poller != nullptr && event.error.failure == Failure::timeout && limit < left) {
            if (const int status = poller->poll(); status != kExitOk) return status;
            --seen;
            continue;
        }
        // Time that is up and Ctrl-C are how watching ends; events that were asked for by number must all
        // come.
        const bool isOver =
            event.error.failure == Failure::interrupted || event.error.failure == Failure::timeout;
        if (isOver && options.count == 0) return kExitOk;
        if (isOver) {
            if (event.error.failure == Failure::interrupted) return kExitInterrupted;
            complain("{} of {} events came in {} s", seen, options.count, options.seconds);
            return kExitTimeout;
        }
        if (!event.ok()) return report(event.error);
        printEvent(access, event.value, options);
        const auto* object = std::get_if<ObjectEvent>(&event.value);
        const bool isOffer = object != nullptr && object->event == kObjectEventRequestTransfer &&
                             object->handle == access.handle() && object->object != 0;
        if (!isOffer || collector == nullptr) continue;
        if (const int status = collector->store(object->object); status != kExitOk) return status;
    }
    return kExitOk;
}

int openWebcam(WebcamSession& webcam, uint16_t port, const CommonOptions& common) {
    const int status = webcam.connect(port);
    return status == kExitOk ? webcam.select(common.camera) : status;
}

}  // namespace

int runWatch(const CommonOptions& common, const WatchOptions& options) {
    FrameFiles files;
    if (!options.save.empty()) {
        if (auto error = files.open(options.save, false)) return report(error);
    }
    CameraAccess access;
    if (const int status = access.connect(common); status != kExitOk) return status;
    WebcamSession webcam;
    if (options.opensSession) {
        const int status = access.openCamera([&] { return openWebcam(webcam, access.port(), common); });
        if (status != kExitOk) return status;
    }
    const bool isWebcam = webcam.camera() != 0;
    if (isWebcam && !options.save.empty()) {
        complain("watch --save: a webcam takes no pictures by itself; 'tarvo webcam' takes them");
        return kExitUsage;
    }
    Collector collector(access, files);
    NikonPoller poller(access, files, !options.save.empty());
    if (!options.save.empty() && access.isNikon()) {
        if (const int status = poller.nameNext(files.nextNumber()); status != kExitOk) return status;
    } else if (!options.save.empty()) {
        collector.startAfter(files.nextNumber() - 1);
        if (const int status = collector.nameNext(); status != kExitOk) return status;
    }
    if (options.opensSession) {
        note("watching '{}'", isWebcam ? webcam.name() : access.name());
    } else {
        note("watching");
    }
    if (options.onReady) options.onReady();
    const bool isOffered = !options.save.empty() && !access.isNikon();
    return watchEvents(access, options, isOffered ? &collector : nullptr,
                       access.isNikon() ? &poller : nullptr);
}

void addWatch(CLI::App& app, Invocation& invocation) {
    auto* command = app.add_subcommand("watch", "Show what the camera reports, one event a line");
    auto options = std::make_shared<WatchOptions>();
    command->add_flag("--json", options->isJson, "One JSON object a line, with all numbers");
    command->add_flag("--no-progress", options->hidesProgress, "Leave the progress of transfers out");
    command->add_option("--count", options->count, "End after so many events; 0: never")
        ->check(CLI::Range(0, 1'000'000'000))
        ->capture_default_str();
    command->add_option("--for", options->seconds, "End after so many seconds; 0: never")
        ->check(numberFrom(0.0, 604800.0))
        ->capture_default_str();
    auto* save =
        command->add_option("--save", options->save,
                            "Store pictures that are taken at the camera itself: folder and beginning of\n"
                            "the names, numbered on after what is there");
    auto closed = std::make_shared<bool>(false);
    command->add_flag("--no-session", *closed, "Only listen; the camera is opened by another program")
        ->excludes(save);
    describe(
        *command,
        "Events go to the program that connected last: watching takes them away from another host of "
        "the same\n"
        "helper. Pictures that the camera offers and nobody downloads (--save) are lost when watching "
        "ends;\na Nikon camera keeps them. A Nikon camera tells only that it has gone or gets too hot, and "
        "the progress\nof transfers. A webcam is watched when no other camera is meant; it tells that it was "
        "unplugged.\n\n"
        "Examples:\n"
        "  tarvo watch\n"
        "  tarvo watch --json --for 60\n"
        "  tarvo watch --save session/frame\n"
        "  tarvo watch --camera webcam\n");
    command->callback([options, closed, &invocation] {
        options->opensSession = !*closed;
        invocation.status = runWatch(invocation.common, *options);
    });
}

}  // namespace tarvo
