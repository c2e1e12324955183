// Entry points: properties of cameras and of live-view frames.
#include <algorithm>
#include <cstring>

#include "frameworks/EDSDK/simulated/Library.h"
#include "frameworks/EDSDK/simulated/Streams.h"

namespace sim {

namespace {

using lab::canon::Value;

/** A camera or a frame: the two things that have properties. */
struct Owner {
    std::shared_ptr<Camera> camera;
    std::shared_ptr<EvfImage> image;

    bool isLive() const { return camera || image; }
};

Owner findOwner(EdsBaseRef reference, lab::Call& call) {
    return {find<Camera>(reference, call), find<EvfImage>(reference, call)};
}

EdsError readValue(const Owner& owner, EdsPropertyID property, Value& out) {
    if (!owner.isLive()) return notLive();
    if (owner.camera) {
        return errorOf(owner.camera->at.body->read(owner.camera->at.link, property, out));
    }
    const std::lock_guard guard(owner.image->mutex);
    const auto found = owner.image->values.find(property);
    if (found == owner.image->values.end()) return EDS_ERR_PROPERTIES_UNAVAILABLE;
    out = found->second;
    return kOk;
}

EdsError describe(const Camera& camera, EdsPropertyID property, EdsPropertyDesc* description) {
    constexpr EdsInt32 kEnumerated = 2;
    constexpr EdsInt32 kReadAndWrite = 1;
    if (description == nullptr) return EDS_ERR_INVALID_POINTER;
    std::vector<int32_t> options;
    const EdsError error = errorOf(camera.at.body->describe(camera.at.link, property, options));
    if (error != kOk) return error;
    EdsPropertyDesc filled{};
    filled.form = kEnumerated;
    filled.access = kReadAndWrite;
    const size_t count = std::min(options.size(), std::size(filled.propDesc));
    filled.numElements = static_cast<EdsInt32>(count);
    std::copy_n(options.begin(), count, filled.propDesc);
    *description = filled;
    return kOk;
}

/** No property is longer; a caller who says so of his data would have us read beyond it. */
constexpr EdsUInt32 kMostBytes = 65536;

}  // namespace

}  // namespace sim

using namespace sim;

EdsError EdsGetPropertySize(EdsBaseRef object, EdsPropertyID property, EdsInt32 parameter, EdsDataType* type,
                            EdsUInt32* size) {
    lab::Call call("EdsGetPropertySize");
    const Owner owner = findOwner(object, call);
    call.number("property", property).number("param", parameter);
    return answer(call, [&]() -> EdsError {
        Value value;
        const EdsError error = readValue(owner, property, value);
        if (error != kOk) return error;
        if (type == nullptr || size == nullptr) return EDS_ERR_INVALID_POINTER;
        *type = value.type;
        *size = static_cast<EdsUInt32>(value.bytes.size());
        call.number("size", *size).number("dataType", *type);
        return kOk;
    });
}

EdsError EdsGetPropertyData(EdsBaseRef object, EdsPropertyID property, EdsInt32 parameter, EdsUInt32 size,
                            EdsVoid* data) {
    lab::Call call("EdsGetPropertyData");
    const Owner owner = findOwner(object, call);
    call.number("property", property).number("param", parameter).number("size", size);
    return answer(call, [&]() -> EdsError {
        Value value;
        const EdsError error = readValue(owner, property, value);
        if (error != kOk) return error;
        if (data == nullptr) return EDS_ERR_INVALID_POINTER;
        if (value.bytes.size() > size) return EDS_ERR_INVALID_LENGTH;
        std::memcpy(data, value.bytes.data(), value.bytes.size());
        call.bytes("data", value.bytes.data(), value.bytes.size());
        return kOk;
    });
}

EdsError EdsSetPropertyData(EdsBaseRef object, EdsPropertyID property, EdsInt32 parameter, EdsUInt32 size,
                            const EdsVoid* data) {
    lab::Call call("EdsSetPropertyData");
    const Owner owner = findOwner(object, call);
    call.number("property", property).number("param", parameter).number("size", size);
    if (data != nullptr) call.bytes("data", data, std::min(size, kMostBytes));
    return answer(call, [&]() -> EdsError {
        if (!owner.isLive()) return notLive();
        if (owner.image) return EDS_ERR_NOT_SUPPORTED;  // what a frame says of itself is over
        if (data == nullptr) return EDS_ERR_INVALID_POINTER;
        if (size > kMostBytes) return EDS_ERR_INVALID_LENGTH;
        return errorOf(owner.camera->at.body->write(owner.camera->at.link, property, data, size));
    });
}

EdsError EdsGetPropertyDesc(EdsBaseRef object, EdsPropertyID property, EdsPropertyDesc* description) {
    lab::Call call("EdsGetPropertyDesc");
    const Owner owner = findOwner(object, call);
    call.number("property", property);
    return answer(call, [&]() -> EdsError {
        if (!owner.isLive()) return notLive();
        if (owner.image) return EDS_ERR_NOT_SUPPORTED;
        return describe(*owner.camera, property, description);
    });
}
