/* Setup.h: what a scenario says about one video device.
 *
 * Thread: any; plain data.
 * Units:  in the names; sizes in pixels.
 * Errors: in the Fields' report.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/Context.h"
#include "lab/Export.h"
#include "lab/Fields.h"
#include "lab/video/Controls.h"

namespace lab::video {

/** What a device, or one stream of it, carries. */
enum class Medium { video = 1, muxed, sound };
LAB_EXPORT const char* mediumName(Medium medium);

struct Size {
    uint32_t width = 0;
    uint32_t height = 0;
    bool operator==(const Size&) const = default;
};

/** The device on the USB bus: where it is plugged in, and its video-control interface. */
struct UsbSetup {
    uint32_t location = 0;
    uint16_t vendor = 0;
    uint16_t product = 0;
    uint8_t interface = 0;
    std::vector<Control> controls;
};

struct CameraSetup {
    std::string id;
    std::string name;
    std::string uniqueId;
    std::vector<Medium> media = {Medium::video};
    Size size{640, 480};  // without anybody asking for another one
    double fps = 30;
    uint32_t rowSurplus = 0;          // bytes between a row's last pixel and the next row
    std::vector<std::string> frames;  // JPEG files; none: the pattern
    std::vector<Size> sizes;          // that it can be asked for; none: any
    int noise = 0;                    // how far colours stray to either side
    int64_t startMs = 0;              // before the first frame's own time begins
    int64_t stopMs = 0;               // how long a stopped session still says that it runs
    bool isNullEntry = false;         // the framework's list has an empty entry in its place
    std::optional<UsbSetup> usb;      // none: not on the bus
};

/** Reads the fields of a video device, the common ones apart; `id` must be set. */
void readCameraSetup(Fields& fields, const Context& context, CameraSetup& out);

}  // namespace lab::video
