#include "tests/USB/linux/FakeBus.h"

#include <errno.h>
#include <linux/usb/video.h>
#include <linux/uvcvideo.h>
#include <linux/videodev2.h>

#include <algorithm>
#include <filesystem>

namespace test {

namespace fs = std::filesystem;

namespace {

int queryControl(FakeWebcam& webcam, v4l2_query_ext_ctrl& query) {
    const auto found = webcam.controls.find(query.id);
    if (found == webcam.controls.end()) return -EINVAL;
    const FakeControl& control = found->second;
    query.minimum = control.lowest;
    query.maximum = control.highest;
    query.step = static_cast<uint64_t>(control.step);
    query.default_value = control.standard;
    query.flags = control.flags;
    return 0;
}

int queryMenu(FakeWebcam& webcam, v4l2_querymenu& menu) {
    const auto found = webcam.controls.find(menu.id);
    if (found == webcam.controls.end()) return -EINVAL;
    const std::vector<uint32_t>& items = found->second.menu;
    return std::find(items.begin(), items.end(), menu.index) == items.end() ? -EINVAL : 0;
}

int readControls(FakeWebcam& webcam, v4l2_ext_controls& list) {
    for (uint32_t i = 0; i < list.count; ++i) {
        const auto found = webcam.controls.find(list.controls[i].id);
        if (found == webcam.controls.end()) return -EINVAL;
        list.controls[i].value = found->second.current;
    }
    return 0;
}

/** As the driver does it: numbers out of range are bent into it. */
int writeControls(FakeWebcam& webcam, v4l2_ext_controls& list, usb::Duration now) {
    FakeWebcam::Set set{now, {}};
    for (uint32_t i = 0; i < list.count; ++i) {
        const auto found = webcam.controls.find(list.controls[i].id);
        if (found == webcam.controls.end()) return -EINVAL;
        FakeControl& control = found->second;
        control.current = std::clamp(list.controls[i].value, control.lowest, control.highest);
        set.values.emplace_back(found->first, control.current);
    }
    webcam.sets.push_back(set);
    return 0;
}

int queryExtension(FakeWebcam& webcam, uvc_xu_control_query& query, usb::Duration now) {
    const auto found = webcam.extensions.find({query.unit, query.selector});
    if (found == webcam.extensions.end()) return -ENOENT;
    Bytes& value = found->second;
    const size_t size = query.query == UVC_GET_LEN ? 2 : query.query == UVC_GET_INFO ? 1 : value.size();
    if (query.size != size) return -ENOBUFS;
    webcam.queries.push_back(query.query);
    switch (query.query) {
        case UVC_SET_CUR:
            value.assign(query.data, query.data + size);
            webcam.sets.push_back({now, {}});
            return 0;
        case UVC_GET_CUR:
        case UVC_GET_DEF:
            std::copy(value.begin(), value.end(), query.data);
            return 0;
        case UVC_GET_LEN:
            query.data[0] = static_cast<uint8_t>(value.size() & 0xFF);
            query.data[1] = static_cast<uint8_t>(value.size() >> 8);
            return 0;
        case UVC_GET_INFO:
            query.data[0] = 3;
            return 0;
        case UVC_GET_MIN:
        case UVC_GET_MAX:
        case UVC_GET_RES:
            return -EBADRQC;
        default:
            return -EINVAL;
    }
}

int carryOut(FakeWebcam& webcam, unsigned long request, void* argument, usb::Duration now) {
    ++webcam.calls;
    if (webcam.isGone) return -ENODEV;
    if (const auto error = webcam.errors.find(request); error != webcam.errors.end()) return -error->second;
    switch (request) {
        case VIDIOC_QUERYCAP:
            static_cast<v4l2_capability*>(argument)->device_caps = webcam.capabilities;
            return 0;
        case VIDIOC_QUERY_EXT_CTRL:
            return queryControl(webcam, *static_cast<v4l2_query_ext_ctrl*>(argument));
        case VIDIOC_QUERYMENU:
            return queryMenu(webcam, *static_cast<v4l2_querymenu*>(argument));
        case VIDIOC_G_EXT_CTRLS:
            return readControls(webcam, *static_cast<v4l2_ext_controls*>(argument));
        case VIDIOC_S_EXT_CTRLS:
            return writeControls(webcam, *static_cast<v4l2_ext_controls*>(argument), now);
        case UVCIOC_CTRL_QUERY:
            return queryExtension(webcam, *static_cast<uvc_xu_control_query*>(argument), now);
        default:
            return -ENOTTY;
    }
}

}  // namespace

FakeBus::FakeBus() {
    devices = folder_.file("devices");
    nodes = folder_.file("dev");
    fs::create_directories(devices);
}

void FakeBus::write(const std::string& path, const std::string& text) const {
    fs::create_directories(fs::path(devices + '/' + path).parent_path());
    folder_.write("devices/" + path, text);
}

void FakeBus::plugIn(const std::string& name, uint32_t number, const Bytes& descriptors,
                     const std::string& vendor, const std::string& product) {
    write(name + "/idVendor", vendor + '\n');
    write(name + "/idProduct", product + '\n');
    write(name + "/busnum", name.substr(0, name.find('-')) + '\n');
    write(name + "/devnum", std::to_string(number) + '\n');
    write(name + "/descriptors", {descriptors.begin(), descriptors.end()});
}

void FakeBus::addInterface(const std::string& device, const std::string& name, uint8_t number,
                           const std::string& deviceClass, const std::string& subclass) {
    const std::string folder = device + '/' + name + '/';
    write(folder + "bInterfaceNumber", '0' + std::to_string(number) + '\n');
    write(folder + "bAlternateSetting", " 0\n");
    write(folder + "bInterfaceClass", deviceClass + '\n');
    write(folder + "bInterfaceSubClass", subclass + '\n');
    write(folder + "bInterfaceProtocol", "00\n");
}

void FakeBus::addNode(const std::string& device, const std::string& interface, const std::string& node,
                      FakeWebcam& webcam) {
    write(device + '/' + interface + "/video4linux/" + node + "/index", "0\n");
    nodes_[nodes + '/' + node] = &webcam;
}

void FakeBus::pullOut(const std::string& name) {
    fs::remove_all(devices + '/' + name);
}

void FakeBus::refuseOpen(const std::string& path, int error) {
    refusals_[nodes + '/' + path] = error;
}

int FakeBus::open(const std::string& path) {
    const std::lock_guard guard(mutex_);
    if (const auto refusal = refusals_.find(path); refusal != refusals_.end()) return -refusal->second;
    const bool isRaw = std::find(rawNodes_.begin(), rawNodes_.end(), path) != rawNodes_.end();
    const auto node = nodes_.find(path);
    if (!isRaw && node == nodes_.end()) return -ENOENT;
    descriptors_[++lastDescriptor_] = isRaw ? nullptr : node->second;
    return lastDescriptor_;
}

void FakeBus::close(int descriptor) {
    const std::lock_guard guard(mutex_);
    descriptors_.erase(descriptor);
}

int FakeBus::control(int descriptor, unsigned long request, void* argument) {
    const std::lock_guard guard(mutex_);
    const auto found = descriptors_.find(descriptor);
    if (found == descriptors_.end()) return -EBADF;
    if (found->second == nullptr) return -ENOTTY;
    return carryOut(*found->second, request, argument, now_);
}

usb::Duration FakeBus::now() {
    const std::lock_guard guard(mutex_);
    return now_;
}

void FakeBus::sleepFor(usb::Duration time) {
    const std::lock_guard guard(mutex_);
    now_ += time;
    sleeps_.push_back(time);
}

size_t FakeBus::openCount() {
    const std::lock_guard guard(mutex_);
    return descriptors_.size();
}

std::vector<usb::Duration> FakeBus::sleeps() {
    const std::lock_guard guard(mutex_);
    return sleeps_;
}

}  // namespace test
