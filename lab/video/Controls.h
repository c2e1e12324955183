/* Controls.h: the controls of a webcam's units and terminals, and how they answer class requests.
 *
 * Thread: none of its own; whoever has the table guards it.
 * Units:  lengths in bytes; values on the wire are little-endian.
 * Errors: a request that the device refuses stalls; the table is unchanged then.
 * Follows: USB Video Class 1.1, 4.2 (class requests).
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/Export.h"
#include "lab/Fields.h"
#include "lab/JsonText.h"

namespace lab::video {

inline constexpr int64_t kMostControlSize = 64;

struct Control {
    uint8_t unit = 0;
    uint8_t selector = 0;
    uint8_t info = 3;  // bit 0: can be read, bit 1: can be written
    std::vector<uint8_t> current;
    // Little-endian as well, and as long.
    std::vector<uint8_t> lowest, highest, step, standard;
};

/** The setup packet of a control transfer. */
struct UsbRequest {
    uint8_t type = 0;
    uint8_t request = 0;
    uint16_t value = 0;
    uint16_t index = 0;
    uint16_t length = 0;
};

/** Which control a request is about, if it is about one. */
constexpr uint8_t unitOf(const UsbRequest& request) {
    return static_cast<uint8_t>(request.index >> 8U);
}
constexpr uint8_t selectorOf(const UsbRequest& request) {
    return static_cast<uint8_t>(request.value >> 8U);
}

/** Carries a request out. Reads put their bytes, at most as many as were asked for, at `data`, and writes
 * take them from there; `done` says how many went over. False: it stalls. */
bool carryOut(std::vector<Control>& controls, const UsbRequest& request, uint8_t* data, uint32_t& done);

/** Reads the list of controls. */
std::vector<Control> readControls(Fields& uvc);

/** "1:4": unit and selector, as the commands and the state name a control. */
std::string controlName(const Control& control);
/** Null when there is none of that name. */
Control* controlNamed(std::vector<Control>& controls, std::string_view name);

/** A number, negative if the control's lowest value is; bytes when it has more than eight. */
void writeCurrent(JsonText& out, const Control& control);
/** From a number, or the bytes as they are on the wire. Empty, or what is wrong. */
std::string setCurrent(Control& control, const Json& value);

}  // namespace lab::video
