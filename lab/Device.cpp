#include "lab/Device.h"

#include <nlohmann/json.hpp>

namespace lab {

const char* familyName(Family family) {
    switch (family) {
        case Family::canon:
            return "canon";
        case Family::nikon:
            return "nikon";
        case Family::video:
            return "video";
    }
    return "";
}

StoredDevice::StoredDevice(std::string id, Family family, std::unique_ptr<Json> settings)
    : Device(std::move(id), family), settings_(std::move(settings)) {}

StoredDevice::~StoredDevice() = default;

std::string StoredDevice::refusal(const char* command) const {
    return std::string("devices of family ") + familyName(family()) + " do not know " + command + " yet";
}

std::string StoredDevice::press() {
    return refusal("press");
}

std::string StoredDevice::set(Fields& /*command*/) {
    return refusal("set");
}

std::string StoredDevice::get(Fields& /*command*/, JsonText& /*answer*/) {
    return refusal("get");
}

std::string StoredDevice::event(Fields& /*command*/) {
    return refusal("event");
}

void StoredDevice::writeState(JsonText& out) {
    out.key("sessions").number(0);
    out.key("values").beginObject().endObject();
}

}  // namespace lab
