/* Setup.h: what a scenario says about one Nikon body.
 *
 * Thread: any; plain data.
 * Units:  in the names.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/Content.h"
#include "lab/Context.h"
#include "lab/Fields.h"
#include "lab/nikon/Capability.h"

namespace lab::nikon {

inline constexpr int64_t kMostModuleType = 15;

/** The numbers by which the module tells what a file is; others are possible. */
enum FileType : uint32_t { kJpeg = 1, kTiff = 2, kNef = 4, kNdf = 257 };

/** One item that a release yields. */
struct ShotItem {
    uint32_t dataType = kJpeg;
    ContentRef content;
    uint32_t blocks = 0;  // 0: of a usual size each
    bool isRemoved = true;
    uint32_t dual = 0;
    uint32_t flags = 17;  // of each delivery: image and file
};

/** A frame of the live view: whole bytes, or a picture that the camera puts its header before. */
struct LiveFrame {
    ContentRef whole;
    std::vector<uint8_t> header;  // the first bytes, as given
    uint64_t length = 0;
    ContentRef jpeg;  // set: the header is the camera's own
    uint32_t jpegAt = 64;
    std::optional<uint16_t> countdown;  // of the camera's own header; none: as long as the camera can
};

struct BodySetup {
    std::string id;
    std::string model;
    uint32_t moduleType = 0;
    std::optional<uint32_t> sourceId;  // none: the next one of its module
    uint32_t completeAfter = 1;
    Table capabilities;
    bool hasShots = false;  // an empty list of shots is one, too
    std::vector<std::vector<ShotItem>> shots;
    std::vector<std::string> photos;  // for a body without shots; empty: made-up pictures
    std::vector<LiveFrame> liveView;  // empty: a moving ramp
    int64_t liveViewSeconds = 1800;   // until the camera is too hot for it
    int64_t shutterLagMs = 0;
    int64_t transferBytesPerSecond = 0;  // 0: at once
};

/** What a scenario says about the module object. */
struct ModuleSetup {
    Table capabilities = moduleTable();
    uint32_t completeAfter = 1;
};

/** Reads the fields of a Nikon device, the common ones apart. */
void readBodySetup(Fields& fields, const Context& context, BodySetup& out);
/** Reads the fields of the module object. */
void readModuleSetup(Fields& fields, ModuleSetup& out);

}  // namespace lab::nikon
