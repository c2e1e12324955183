#include "frameworks/USB/linux/Driver.h"

#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>

#include <algorithm>
#include <array>

#include "frameworks/USB/linux/Errors.h"

namespace usb {

namespace {

constexpr size_t kMostFields = 2;

struct ValueList {
    explicit ValueList(std::span<const DriverValue> values) {
        const size_t count = std::min(values.size(), controls.size());
        for (size_t i = 0; i < count; ++i) {
            controls[i].id = values[i].id;
            controls[i].value = values[i].number;
        }
        list.which = V4L2_CTRL_WHICH_CUR_VAL;
        list.count = static_cast<uint32_t>(count);
        list.controls = controls.data();
    }

    std::array<v4l2_ext_control, kMostFields> controls{};
    v4l2_ext_controls list{};
};

}  // namespace

IOReturn Driver::call(unsigned long request, void* argument) {
    const int result = system_->control(node_.get(), request, argument);
    return returnOfRequest(result < 0 ? -result : 0);
}

bool Driver::isCapture() {
    v4l2_capability capability{};
    return call(VIDIOC_QUERYCAP, &capability) == kIOReturnSuccess &&
           (capability.device_caps & V4L2_CAP_VIDEO_CAPTURE) != 0;
}

IOReturn Driver::describe(uint32_t id, DriverControl& control) {
    v4l2_query_ext_ctrl query{};
    query.id = id;
    const IOReturn result = call(VIDIOC_QUERY_EXT_CTRL, &query);
    if (result != kIOReturnSuccess) return result;
    if ((query.flags & V4L2_CTRL_FLAG_DISABLED) != 0) return kIOUSBPipeStalled;
    control = {.lowest = query.minimum,
               .highest = query.maximum,
               .step = static_cast<int64_t>(query.step),
               .standard = query.default_value,
               .isReadable = (query.flags & V4L2_CTRL_FLAG_WRITE_ONLY) == 0,
               .isWritable = (query.flags & V4L2_CTRL_FLAG_READ_ONLY) == 0,
               .isInactive = (query.flags & (V4L2_CTRL_FLAG_INACTIVE | V4L2_CTRL_FLAG_GRABBED)) != 0,
               .isVolatile = (query.flags & V4L2_CTRL_FLAG_VOLATILE) != 0};
    return kIOReturnSuccess;
}

bool Driver::hasMenuItem(uint32_t id, uint32_t item) {
    v4l2_querymenu menu{};
    menu.id = id;
    menu.index = item;
    return call(VIDIOC_QUERYMENU, &menu) == kIOReturnSuccess;
}

IOReturn Driver::get(std::span<DriverValue> values) {
    ValueList list(values);
    const IOReturn result = call(VIDIOC_G_EXT_CTRLS, &list.list);
    if (result != kIOReturnSuccess) return result;
    for (size_t i = 0; i < list.list.count; ++i) {
        values[i].number = list.controls[i].value;
    }
    return kIOReturnSuccess;
}

IOReturn Driver::set(std::span<const DriverValue> values) {
    ValueList list(values);
    return call(VIDIOC_S_EXT_CTRLS, &list.list);
}

IOReturn Driver::query(uint8_t unit, uint8_t selector, uint8_t request, std::span<uint8_t> data) {
    uvc_xu_control_query asked{};
    asked.unit = unit;
    asked.selector = selector;
    asked.query = request;
    asked.size = static_cast<uint16_t>(data.size());
    asked.data = data.data();
    return call(UVCIOC_CTRL_QUERY, &asked);
}

}  // namespace usb
