/* Models.h: what a Canon body of a model is like when nobody has touched its dials yet.
 *
 * Thread: any; plain data.
 */
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/canon/Values.h"

namespace lab::canon {

/** Properties that the body itself looks at. */
enum PropertyId : uint32_t {
    kProductName = 0x2,
    kOwnerName = 0x4,
    kFirmwareVersion = 0x7,
    kBatteryLevel = 0x8,
    kSaveTo = 0xB,
    kBodyId = 0x15,
    kImageQuality = 0x100,
    kWhiteBalance = 0x106,
    kColorTemperature = 0x107,
    kPictureStyle = 0x114,
    kAeMode = 0x400,
    kDriveMode = 0x401,
    kIsoSpeed = 0x402,
    kMeteringMode = 0x403,
    kAfMode = 0x404,
    kAperture = 0x405,
    kShutterSpeed = 0x406,
    kExposureCompensation = 0x407,
    kAvailableShots = 0x40A,
    kLensName = 0x40D,
    kEvfOutputDevice = 0x500,
    kEvfMode = 0x501,
    kEvfWhiteBalance = 0x502,
    kEvfColorTemperature = 0x503,
    kEvfDepthOfField = 0x504,
    kEvfZoom = 0x507,
    kEvfZoomPosition = 0x508,
    kEvfAfMode = 0x50E,
    kEvfCoordinates = 0x540
};

struct Property {
    Value value;
    std::optional<std::vector<int32_t>> options;  // none: the body does not describe it
    bool isReadOnly = false;
};

using PropertyTable = std::map<uint32_t, Property>;

struct Model {
    std::string_view name;
    int32_t width;
    int32_t height;
    /** The body obeys the commands of the shutter button; the older ones know taking a picture alone. */
    bool hasButtonCommands;
    int32_t fastestTv;
    int32_t highestIso;
};

/** The row of a model; for a name that is in no row, a body that does all that its protocol allows. */
LAB_EXPORT Model modelOf(std::string_view name, bool isLegacy);
/** How many rows there are, and one of them, for those who want to see them all. */
LAB_EXPORT size_t modelCount();
LAB_EXPORT const Model& modelAt(size_t index);

LAB_EXPORT PropertyTable defaultProperties(const Model& model, bool isLegacy, std::string_view name,
                                           std::string_view firmware);

}  // namespace lab::canon
