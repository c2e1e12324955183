#include "tests/QTKit/fixture.h"

namespace test {

void QTKitTest::SetUp() {
    start({Json::object()});
}

void QTKitTest::TearDown() {
    // Frame threads end soon after their sessions do.
    for (const char* kind : {"devices", "inputs", "outputs", "sessions", "frames"}) {
        EXPECT_TRUE(eventually([&] { return living(kind) == 0; })) << kind << " still live: " << living(kind);
    }
}

void QTKitTest::start(const std::vector<Json>& devices) {
    Json all = Json::array();
    for (const Json& fields : devices) {
        Json device = {{"id", "v-" + std::to_string(all.size() + 1)}, {"family", "video"}};
        device.update(fields);
        all.push_back(device);
    }
    lay(all);
}

Ref<QTCaptureDevice> QTKitTest::device(size_t index) {
    const CallScope scope;
    const QTCaptureDeviceList* list = QTCaptureDevice::inputDevices();
    EXPECT_NE(list, nullptr);
    if (list == nullptr || index >= list->size()) return {};
    return (*list)[index];
}

int64_t QTKitTest::living(const char* kind) {
    return must({{"cmd", "state"}})["libraries"]["QTKit"]["objects"][kind];
}

}  // namespace test
