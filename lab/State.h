/* State.h: what the simulated libraries tell about themselves when somebody asks for the state.
 *
 * Thread: any; sources are asked on the control thread, without any of the lab's locks held.
 * Owns:   nothing; a source lasts as long as the process.
 */
#pragma once

#include <string_view>

#include "lab/Export.h"
#include "lab/JsonText.h"

namespace lab {

class LAB_EXPORT StateSource {
public:
    virtual ~StateSource() = default;
    /** The library's name, under which its part stands. */
    virtual std::string_view library() const = 0;
    /** Adds fields about the library as a whole. */
    virtual void writeLibrary(JsonText& out) = 0;
    /** Adds fields about one device. */
    virtual void writeDevice(std::string_view device, JsonText& out) = 0;
};

LAB_EXPORT void addStateSource(StateSource* source);

/** Adds "devices", "libraries" and "faults" to the object that is being written. */
void writeState(JsonText& out);

}  // namespace lab
