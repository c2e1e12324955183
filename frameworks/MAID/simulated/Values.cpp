#include "frameworks/MAID/simulated/Values.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "frameworks/MAID/simulated/Processes.h"
#include "lab/nikon/Sources.h"

namespace maid {

namespace {

using lab::nikon::Capability;
using lab::nikon::FrameRef;
using lab::nikon::Table;
using lab::nikon::Value;

constexpr uint32_t kImageId = 1;  // the one data object of every item

template <typename Record>
Record* dataOf(const Command& command) {
    return reinterpret_cast<Record*>(command.data);
}

void fillChildren(const Object& object, Capability& children) {
    children.arrayType = kMaidArrayUnsigned;
    children.elementBytes = sizeof(uint32_t);
    const std::vector<uint32_t> ids = childIds(object);
    children.elements.resize(ids.size() * sizeof(uint32_t));
    if (!ids.empty()) std::memcpy(children.elements.data(), ids.data(), children.elements.size());
}

bool isLiveView(const Object& object, const Capability& capability) {
    return object.kind == Kind::source && capability.id == lab::nikon::kLiveViewImage &&
           capability.type == kMaidCapArray && capability.elements.empty();
}

/** Packed strings are counted in bytes. */
uint32_t elementCount(const Capability& capability) {
    const size_t count = capability.elements.size() / std::max<size_t>(capability.elementBytes, 1);
    return static_cast<uint32_t>(count);
}

uint32_t stepOf(const Capability& capability, double value) {
    const double span = capability.upper - capability.lower;
    if (capability.steps < 2 || !(span > 0)) return 0;
    const double step = (value - capability.lower) / span * (capability.steps - 1);
    return static_cast<uint32_t>(std::lround(std::clamp(step, 0.0, capability.steps - 1.0)));
}

void fillRange(const Capability& capability, NkMAIDRange& out) {
    out.value = capability.value.real;
    out.defaultValue = capability.defaultValue.real;
    out.valueIndex = stepOf(capability, out.value);
    out.defaultIndex = stepOf(capability, out.defaultValue);
    out.lower = capability.lower;
    out.upper = capability.upper;
    out.steps = capability.steps;
}

/** All but the caller's storage. */
void fillEnum(const Capability& capability, const Value& value, NkMAIDEnum& out) {
    out.type = capability.arrayType;
    out.elements = elementCount(capability);
    out.value = static_cast<uint32_t>(value.number);
    out.defaultValue = static_cast<uint32_t>(capability.defaultValue.number);
    out.physicalBytes = capability.elementBytes;
}

void fillArray(uint32_t type, uint32_t elements, uint16_t elementBytes, NkMAIDArray& out) {
    constexpr unsigned kBitsPerByte = 8;
    out.type = type;
    out.elements = elements;
    out.dimensionSize1 = elements;
    out.dimensionSize2 = 1;
    out.dimensionSize3 = 1;
    out.physicalBytes = elementBytes;
    out.logicalBits = static_cast<uint16_t>(elementBytes * kBitsPerByte);
}

struct TypeRow {
    uint32_t capability;
    uint32_t getType;
    uint32_t setType;
};
constexpr TypeRow kTypes[] = {
    {kMaidCapBoolean, kMaidDataBooleanPtr, kMaidDataBoolean},
    {kMaidCapInteger, kMaidDataIntegerPtr, kMaidDataInteger},
    {kMaidCapUnsigned, kMaidDataUnsignedPtr, kMaidDataUnsigned},
    {kMaidCapPoint, kMaidDataPointPtr, kMaidDataPointPtr},
    {kMaidCapArray, kMaidDataArrayPtr, kMaidDataArrayPtr},
    {kMaidCapEnum, kMaidDataEnumPtr, kMaidDataEnumPtr},
    {kMaidCapRange, kMaidDataRangePtr, kMaidDataRangePtr},
};

const TypeRow* typesOf(const Capability& capability) {
    const auto* row = std::find_if(std::begin(kTypes), std::end(kTypes),
                                   [&](const TypeRow& other) { return other.capability == capability.type; });
    return row == std::end(kTypes) ? nullptr : row;
}

/** The capability, if it can be read so. */
int32_t readable(const Object& object, const Command& command, uint32_t operation, Capability& out) {
    if (const int32_t result = capabilityOf(object, command.param, out); result != kMaidResultNoError) {
        return result;
    }
    const TypeRow* types = typesOf(out);
    if ((out.operations & operation) == 0 || types == nullptr) return kMaidResultNotSupported;
    const bool isRight = command.dataType == types->getType && command.data != 0;
    return isRight ? kMaidResultNoError : kMaidResultUnexpectedDataType;
}

int32_t fill(const Capability& capability, const Value& value, const Command& command) {
    switch (capability.type) {
        case kMaidCapBoolean:
            *dataOf<uint8_t>(command) = value.number != 0 ? 1 : 0;
            return kMaidResultNoError;
        case kMaidCapInteger:
            *dataOf<int32_t>(command) = static_cast<int32_t>(value.number);
            return kMaidResultNoError;
        case kMaidCapUnsigned:
            *dataOf<uint32_t>(command) = static_cast<uint32_t>(value.number);
            return kMaidResultNoError;
        case kMaidCapPoint:
            *dataOf<NkMAIDPoint>(command) = {value.x, value.y};
            return kMaidResultNoError;
        case kMaidCapEnum:
            fillEnum(capability, value, *dataOf<NkMAIDEnum>(command));
            return kMaidResultNoError;
        case kMaidCapRange:
            fillRange(capability, *dataOf<NkMAIDRange>(command));
            return kMaidResultNoError;
        case kMaidCapArray:
            fillArray(capability.arrayType, elementCount(capability), capability.elementBytes,
                      *dataOf<NkMAIDArray>(command));
            return kMaidResultNoError;
        default:
            return kMaidResultNotSupported;
    }
}

/** The frame that the next reading of the array hands over. */
int32_t getFrame(const Object& source, const Command& command) {
    FrameRef frame;
    const int32_t result = resultOf(source.body->frame(source.link, frame));
    if (result != kMaidResultNoError) return result;
    fillArray(kMaidArrayUnsigned, static_cast<uint32_t>(frame->size()), 1, *dataOf<NkMAIDArray>(command));
    return kMaidResultNoError;
}

/** What the caller's record says of its storage must be what there is: the list may have changed. */
int32_t copyElements(const std::vector<uint8_t>& bytes, uint32_t elements, uint16_t elementBytes,
                     void* storage) {
    const uint64_t room = uint64_t{elements} * elementBytes;
    if (room != bytes.size() || (storage == nullptr && room > 0)) return kMaidResultBufferSize;
    if (room > 0) std::memcpy(storage, bytes.data(), room);
    return kMaidResultNoError;
}

int32_t takeFrame(const Object& source, NkMAIDArray& array) {
    FrameRef frame;
    int32_t result = resultOf(source.body->frame(source.link, frame));
    if (result == kMaidResultNoError) {
        result = copyElements(*frame, array.elements, array.physicalBytes, array.data);
    }
    if (result == kMaidResultNoError) source.body->frameTaken();
    return result;
}

bool isProcedure(uint32_t id) {
    return id == kMaidCapabilityProgressProc || id == kMaidCapabilityEventProc ||
           id == kMaidCapabilityDataProc || id == kMaidCapabilityUIRequestProc;
}

int32_t setProcedure(Object& object, const Command& command) {
    if (command.dataType == kMaidDataNull) {
        object.procedures.erase(command.param);
        return kMaidResultNoError;
    }
    if (command.dataType != kMaidDataCallbackPtr || command.data == 0) return kMaidResultUnexpectedDataType;
    const NkMAIDCallback callback = *dataOf<NkMAIDCallback>(command);
    if (callback.proc == nullptr) {
        object.procedures.erase(command.param);
    } else {
        object.procedures[command.param] = callback;
    }
    return kMaidResultNoError;
}

/** What the caller's data say, as the capability's type reads them. */
Value givenValue(const Capability& capability, const Command& command) {
    Value value;
    switch (capability.type) {
        case kMaidCapBoolean:
            value.number = static_cast<uint8_t>(command.data) != 0 ? 1 : 0;
            break;
        case kMaidCapInteger:
            value.number = static_cast<int32_t>(static_cast<uint32_t>(command.data));
            break;
        case kMaidCapUnsigned:
            value.number = static_cast<uint32_t>(command.data);
            break;
        case kMaidCapPoint:
            value.x = dataOf<NkMAIDPoint>(command)->x;
            value.y = dataOf<NkMAIDPoint>(command)->y;
            break;
        case kMaidCapEnum:
            value.number = dataOf<NkMAIDEnum>(command)->value;
            break;
        case kMaidCapRange:
            value.real = dataOf<NkMAIDRange>(command)->value;
            break;
        default:
            break;
    }
    return value;
}

int32_t store(Object& object, const Capability& capability, const Value& value) {
    if (object.kind == Kind::source) {
        return resultOf(object.body->write(object.link, capability.id, value));
    }
    if (!isWithin(capability, value)) return kMaidResultValueOutOfBounds;
    find(object.table, capability.id)->value = value;
    return kMaidResultNoError;
}

}  // namespace

std::vector<uint32_t> childIds(const Object& object) {
    std::vector<uint32_t> ids;
    switch (object.kind) {
        case Kind::module:
            for (const lab::nikon::BodyRef& body : lab::nikon::attachedBodies(object.module->type())) {
                ids.push_back(body->sourceId());
            }
            return ids;
        case Kind::source:
            return object.body->items(object.link);
        case Kind::item:
            return isThere(object) ? std::vector{kImageId} : ids;
        case Kind::data:
            return ids;
    }
    return ids;
}

int32_t capabilitiesOf(const Object& object, Table& out, uint64_t& version) {
    if (object.kind == Kind::source) return resultOf(object.body->capabilities(object.link, out, version));
    if (!isThere(object)) return kMaidResultZombieObject;
    out = object.table;
    version = 1;
    return kMaidResultNoError;
}

int32_t capabilityOf(const Object& object, uint32_t id, Capability& out) {
    if (object.kind == Kind::source) {
        const int32_t result = resultOf(object.body->read(object.link, id, out));
        if (result != kMaidResultNoError) return result;
    } else {
        if (!isThere(object)) return kMaidResultZombieObject;
        const Capability* known = find(object.table, id);
        if (known == nullptr) return kMaidResultNotSupported;
        out = *known;
    }
    const bool isChildren = out.id == kMaidCapabilityChildren && out.type == kMaidCapEnum;
    if (isChildren && out.elements.empty()) fillChildren(object, out);
    return kMaidResultNoError;
}

int32_t getCapability(const Object& object, const Command& command) {
    Capability capability;
    const int32_t result = readable(object, command, kMaidOperationGet, capability);
    if (result != kMaidResultNoError) return result;
    if (isLiveView(object, capability)) return getFrame(object, command);
    return fill(capability, capability.value, command);
}

int32_t getDefault(const Object& object, const Command& command) {
    Capability capability;
    const int32_t result = readable(object, command, kMaidOperationGetDefault, capability);
    if (result != kMaidResultNoError) return result;
    if (capability.type == kMaidCapArray) return kMaidResultNotSupported;
    capability.value = capability.defaultValue;
    return fill(capability, capability.value, command);
}

int32_t getArray(const Object& object, const Command& command) {
    Capability capability;
    const int32_t result = readable(object, command, kMaidOperationGetArray, capability);
    if (result != kMaidResultNoError) return result;
    if (capability.type == kMaidCapArray) {
        auto& array = *dataOf<NkMAIDArray>(command);
        if (isLiveView(object, capability)) return takeFrame(object, array);
        return copyElements(capability.elements, array.elements, array.physicalBytes, array.data);
    }
    if (capability.type != kMaidCapEnum) return kMaidResultNotSupported;
    auto& list = *dataOf<NkMAIDEnum>(command);
    const int32_t copied = copyElements(capability.elements, list.elements, list.physicalBytes, list.data);
    if (copied == kMaidResultNoError) fillEnum(capability, capability.value, list);
    return copied;
}

int32_t setCapability(Object& object, const Command& command) {
    // Procedures are taken away from what is gone, too: its owner has to be able to close it.
    if (isProcedure(command.param) && command.dataType == kMaidDataNull && !isThere(object)) {
        return setProcedure(object, command);
    }
    Capability capability;
    const int32_t result = capabilityOf(object, command.param, capability);
    if (result != kMaidResultNoError) return result;
    if ((capability.operations & kMaidOperationSet) == 0) return kMaidResultNotSupported;
    if (capability.type == kMaidCapCallback) return setProcedure(object, command);
    const TypeRow* types = typesOf(capability);
    if (types == nullptr || capability.type == kMaidCapArray) return kMaidResultNotSupported;
    const bool isValue = command.dataType <= kMaidDataUnsigned;
    if (command.dataType != types->setType || (!isValue && command.data == 0)) {
        return kMaidResultUnexpectedDataType;
    }
    return store(object, capability, givenValue(capability, command));
}

}  // namespace maid
