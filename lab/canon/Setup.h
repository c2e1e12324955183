/* Setup.h: what a scenario says about one Canon body.
 *
 * Thread: any; plain data.
 * Units:  in the names.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/Content.h"
#include "lab/Context.h"
#include "lab/Fields.h"
#include "lab/canon/Models.h"

namespace lab::canon {

/** A file as the camera names it. */
struct ShotFile {
    std::string name;
    ContentRef content;
};

/** A frame of the live view: a file, or so many made-up bytes that differ from frame to frame. */
struct LiveFrame {
    ContentRef content;
    uint64_t madeUpBytes = 0;
};

struct BodySetup {
    std::string id;
    std::string description;
    bool isLegacy = false;
    Model model{};
    PropertyTable properties;
    std::vector<std::vector<ShotFile>> shots;  // empty: image quality decides
    std::vector<std::string> photos;           // empty: made-up pictures
    std::vector<LiveFrame> liveView;           // empty: a moving ramp
    int64_t shutterLagMs = 0;
    int64_t transferBytesPerSecond = 0;  // 0: at once
    int64_t settleMs = 0;
    double autoPowerOffSeconds = 0;  // 0: never
    bool acceptsAnyValue = true;
};

/** Reads the fields of a Canon device, the common ones apart. */
void readBodySetup(Fields& fields, const Context& context, BodySetup& out);
/** What a property's description lists: the field "options". False, and `out` as it was, when it is missing
 * or was reported. */
bool readOptions(Fields& fields, std::vector<int32_t>& out);

}  // namespace lab::canon
