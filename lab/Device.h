/* Device.h: one device of the lab's world, whatever its family.
 *
 * Thread: any; every device guards itself with a lock of its own, so that devices never wait for each other.
 * Errors: commands answer a text that says what is wrong; empty: done.
 */
#pragma once

#include <memory>
#include <string>

#include "lab/Export.h"
#include "lab/Fields.h"
#include "lab/JsonText.h"

namespace lab {

enum class Family { canon = 1, nikon, video };

const char* familyName(Family family);

class LAB_EXPORT Device {
public:
    Device(std::string id, Family family) : id_(std::move(id)), family_(family) {}
    virtual ~Device() = default;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    const std::string& id() const { return id_; }
    Family family() const { return family_; }

    virtual bool isAttached() const = 0;
    /** Plugs the device in; false when it was already. */
    virtual bool attach() = 0;
    /** The device has come into the world; when it is attached, libraries may want to know. */
    virtual void appeared() {}
    /** Pulls the device out; false when it was not in. */
    virtual bool detach() = 0;

    // The commands of the control socket that go to one device. They read the fields that they know; the
    // caller has read "cmd" and "id" and reports what nobody asked for.
    virtual std::string press() = 0;
    virtual std::string set(Fields& command) = 0;
    /** Adds "value" to the answer. */
    virtual std::string get(Fields& command, JsonText& answer) = 0;
    virtual std::string event(Fields& command) = 0;
    /** Adds what there is to know beyond id, family and attached. */
    virtual void writeState(JsonText& out) = 0;

private:
    std::string id_;
    Family family_;
};

using DeviceRef = std::shared_ptr<Device>;

}  // namespace lab
