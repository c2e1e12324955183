/* row.h: one line of the fault matrix: a call from the wire, the vendor calls that it makes, and what the
 * host gets when one of them goes wrong.
 *
 * Thread: any; plain data.
 */
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tests/faults/stage.h"

namespace e2e::faults {

/** A call on the camera library. The label tells it with what sets it apart, as in
 *  "EdsSetPropertyData 0x500=02000000", "EdsSendCommand 0x4 0x10003" or "EdsRelease stream". */
struct VendorCall {
    std::string name;
    std::string label;
    std::optional<int64_t> result;
};

using Labels = std::vector<std::string>;

/** What a call came to. */
struct Outcome {
    Bytes result;  // as it came, behind both headers
    Bytes usual;   // the same when nothing is disturbed
    std::vector<VendorCall> calls;
    Bytes previousFrame;
};

/** Says what is wrong with an outcome; empty: nothing. */
using Check = std::function<std::string(const Outcome&)>;

/** One vendor call of a row. */
struct Step {
    std::string call;  // its label
    Check fails;       // the answer when it fails
    Check gone;        // the answer when the camera vanishes while it is under way
    /** The calls that follow its failure, when they are not the usual ones. */
    std::optional<Labels> then = std::nullopt;
    /** The session that comes of it is of the kind that keeps its camera at close. */
    bool keepsCamera = false;
};

struct Row {
    std::string name;
    int method = 0;
    std::vector<Json> cameras;
    std::function<void(Stage&)> prepare = [](Stage&) {};
    std::function<Bytes(const Stage&)> arguments = [](const Stage&) { return Bytes{}; };
    Check usual;
    std::vector<Step> calls;  // in their order
    /** Faults that stand during all cases of the row. */
    std::vector<Json> standing = {};
    /** The library is started or ended: a helper for each case, and calls of all threads count. */
    bool startsOver = false;
    /** A download that brings the last picture of its shot, so that progress ends at 100. */
    bool completesCapture = false;
    /** The preparation takes the camera away, so that it cannot vanish once more. */
    bool isUnplugged = false;
};

void PrintTo(const Row& row, std::ostream* out);

// ---- Answers --------------------------------------------------------------------------------------------

/** The same bytes as without a disturbance. */
std::string usual(const Outcome& outcome);
Check value(int32_t number);
Check boolean(bool value);
/** Nothing behind the headers. */
std::string nothing(const Outcome& outcome);
Check text(std::string_view value);
Check ints(const std::vector<int32_t>& values);
/** The status with which the call of this label ended, which must have failed. */
Check failureOf(std::string label);
/** The same, whether it failed or not. */
Check statusOf(std::string label);
/** A session's handle: anything but 0 and 130. */
std::string handle(const Outcome& outcome);
/** So many references, of which only the first is one of a camera; 0: none is. */
Check references(size_t count, bool isFirstOne = true);
/** A frame of so many bytes that is not the one before. */
Check newFrame(int32_t bytes);
std::string noFrame(const Outcome& outcome);
std::string previousFrame(const Outcome& outcome);

// ---- Arguments, preparations and cameras that many rows share ---------------------------------------------

Bytes cameraArgument(const Stage& stage);
Bytes sessionArgument(const Stage& stage);

void withLibrary(Stage& stage);
void withCamera(Stage& stage);
void withSession(Stage& stage);

std::vector<Json> modernBody(const Json& more = Json::object());
/** A body without commands for its shutter button. */
std::vector<Json> takePictureBody(const Json& more = Json::object());
std::vector<Json> legacyBody(const Json& more = Json::object());

// ---- The matrix -----------------------------------------------------------------------------------------

std::vector<Row> libraryRows();
std::vector<Row> sessionRows();
std::vector<Row> settingRows();
std::vector<Row> captureRows();
std::vector<Row> downloadRows();
std::vector<Row> liveViewRows();

}  // namespace e2e::faults
