/* nikon_row.h: one line of the Nikon fault matrix: a call from the wire, and what the host gets when one of
 * the commands that it sends to the camera module goes wrong.
 *
 * Thread: any; plain data.
 */
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tests/e2e/support/nikon_fixture.h"

namespace e2e::faults {

/** A helper with one camera of the lab, and what the row's preparation has got from it. */
class NikonStage {
public:
    explicit NikonStage(const Json& body);

    void openModule();
    /** Opens the source without selecting it, so that a selection is nothing but one. */
    void openSource();
    void selectCamera();
    void startLiveView();
    /** The photographer takes a picture of its own, and the host's path is set. */
    void press();

    HelperProcess& helper() { return *helper_; }
    LabClient& lab() { return *lab_; }
    NikonCalls& nikon() { return *nikon_; }
    CallbackStream& events() { return *events_; }
    const TempFolder& pictures() const { return pictures_; }
    std::string path() const { return pictures_.file("frame"); }

    int64_t module = 0;
    int64_t camera = 0;
    /** What the lab calls the camera. */
    const std::string id = "nikon-1";

private:
    TempFolder pictures_;
    std::unique_ptr<HelperProcess> helper_;
    std::unique_ptr<LabClient> lab_;
    std::unique_ptr<NikonCalls> nikon_;
    std::unique_ptr<CallbackStream> events_;
};

/** Says what is wrong with a result; empty: nothing. */
using NikonCheck = std::function<std::string(const Bytes& result)>;

struct NikonRow {
    std::string name;
    int method = 0;
    Json body;
    void (*prepare)(NikonStage&) = nullptr;
    Bytes (*arguments)(const NikonStage&) = nullptr;
    NikonCheck usual;
    /** The answers when a command fails, by its label; all others leave the answer as it is. */
    std::map<std::string, NikonCheck> failing = {};
    /** The further answers that a camera which goes at some moment, or a module that does not let itself be
     *  polled at some moment, may give. */
    std::vector<NikonCheck> broken = {};
    /** Files are under one of these sizes, or not there. */
    std::map<std::string, size_t> files = {};
};

void PrintTo(const NikonRow& row, std::ostream* out);

// ---- Answers --------------------------------------------------------------------------------------------

NikonCheck exactly(const Bytes& result);
NikonCheck nikonInt(int32_t value);
NikonCheck nikonLong(int64_t value);
NikonCheck nikonByte(int value);
/** A handle: anything but 0. */
std::string anyHandle(const Bytes& result);
/** Nothing behind the headers. */
std::string noResult(const Bytes& result);

/** "source get 0x8111": what a command is to a reader of a failure. */
std::string nikonLabel(const Json& traceEntry);

std::vector<NikonRow> nikonModuleRows();
std::vector<NikonRow> nikonCameraRows();
std::vector<NikonRow> nikonCaptureRows();
std::vector<NikonRow> nikonLiveViewRows();

}  // namespace e2e::faults
