// Devices: the list, opening, faults, and what the trace says of it all.
#include "tests/QTKit/fixture.h"

namespace test {
namespace {

class Devices : public QTKitTest {};

TEST_F(Devices, are_listed_in_the_scenario_s_order) {
    start({{{"name", "Webcam ü"}, {"uniqueId", "0x1a1100000123abcd"}},
           {{"media", {"sound"}}},
           {{"attached", false}},
           {{"nullEntry", true}},
           {{"media", {"video", "muxed"}}, {"uvc", {{"location", "0x7"}}}}});
    const CallScope scope;
    for (int round = 0; round < 2; ++round) {
        const QTCaptureDeviceList* list = QTCaptureDevice::inputDevices();
        ASSERT_NE(list, nullptr);
        ASSERT_EQ(list->size(), 4u);
        EXPECT_EQ((*list)[0]->localizedDisplayName(), "Webcam ü");
        EXPECT_EQ((*list)[0]->uniqueID(), "0x1a1100000123abcd");
        EXPECT_EQ((*list)[1]->localizedDisplayName(), "v-2");
        EXPECT_EQ((*list)[1]->uniqueID(), "v-2");
        EXPECT_FALSE((*list)[2]);
        EXPECT_EQ((*list)[3]->uniqueID(), "0x0000000700000000");
        EXPECT_TRUE((*list)[0]->hasMediaType(QTMediaType::Video));
        EXPECT_FALSE((*list)[0]->hasMediaType(QTMediaType::Muxed));
        EXPECT_FALSE((*list)[1]->hasMediaType(QTMediaType::Video));
        EXPECT_TRUE((*list)[1]->hasMediaType(QTMediaType::Sound));
        EXPECT_TRUE((*list)[3]->hasMediaType(QTMediaType::Muxed));
    }
}

TEST_F(Devices, are_the_same_objects_while_somebody_holds_them) {
    const Ref<QTCaptureDevice> held = device();
    EXPECT_EQ(device().get(), held.get());
    must({{"cmd", "detach"}, {"id", "v-1"}});
    EXPECT_FALSE(QTCaptureDevice::inputDevices()->size() > 0);
    must({{"cmd", "attach"}, {"id", "v-1"}});
    // Plugged in again it is another one, and the old one stays useless.
    EXPECT_NE(device().get(), held.get());
    NSError* error = nullptr;
    EXPECT_FALSE(held->open(&error));
}

TEST_F(Devices, live_no_longer_than_the_scope_of_their_list) {
    {
        const CallScope scope;
        QTCaptureDevice::inputDevices();
        EXPECT_EQ(living("devices"), 1);
    }
    EXPECT_EQ(living("devices"), 0);
}

TEST_F(Devices, open_and_close) {
    const CallScope scope;
    const Ref<QTCaptureDevice> opened = device();
    NSError* error = nullptr;
    EXPECT_FALSE(opened->isOpen());
    EXPECT_TRUE(opened->open(&error));
    EXPECT_TRUE(opened->open(&error));
    EXPECT_EQ(error, nullptr);
    EXPECT_TRUE(opened->isOpen());
    EXPECT_EQ(deviceState("v-1")["open"], true);
    opened->close();
    EXPECT_FALSE(opened->isOpen());
    EXPECT_EQ(deviceState("v-1")["open"], false);
}

TEST_F(Devices, that_were_unplugged_do_not_open) {
    const CallScope scope;
    const Ref<QTCaptureDevice> opened = device();
    NSError* error = nullptr;
    EXPECT_TRUE(opened->open(&error));
    must({{"cmd", "detach"}, {"id", "v-1"}});
    EXPECT_FALSE(opened->isOpen());
    EXPECT_FALSE(opened->open(&error));
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->code(), QTErrorDeviceWasDisconnected);
    EXPECT_FALSE(opened->open(nullptr));
    opened->close();
}

TEST_F(Devices, open_as_a_fault_says) {
    struct Row {
        int result;
        bool isTrue;
        bool hasError;
    };
    for (const Row& row :
         {Row{0, false, true}, Row{-1, false, false}, Row{1, true, false}, Row{2, true, true}}) {
        const CallScope scope;
        const Ref<QTCaptureDevice> opened = device();
        NSError* error = nullptr;
        must({{"cmd", "fault"}, {"call", "QTCaptureDevice.open"}, {"result", row.result}});
        EXPECT_EQ(opened->open(&error), row.isTrue) << row.result;
        EXPECT_EQ(error != nullptr, row.hasError) << row.result;
        EXPECT_FALSE(opened->isOpen());
    }
}

TEST_F(Devices, and_the_rest_fail_to_be_made_as_faults_say) {
    const CallScope scope;
    const Ref<QTCaptureDevice> opened = device();
    must({{"cmd", "trace"}, {"clear", true}});
    for (const char* call : {"QTCaptureDevice.inputDevices", "QTCaptureDeviceInput.createWithDevice",
                             "QTCaptureDecompressedVideoOutput.create", "QTCaptureSession.create"}) {
        must({{"cmd", "fault"}, {"call", call}, {"result", 0}});
    }
    EXPECT_EQ(QTCaptureDevice::inputDevices(), nullptr);
    EXPECT_EQ(QTCaptureDeviceInput::createWithDevice(*opened), nullptr);
    EXPECT_EQ(QTCaptureDecompressedVideoOutput::create(), nullptr);
    EXPECT_EQ(QTCaptureSession::create(), nullptr);
    EXPECT_EQ(must({{"cmd", "trace"}})["trace"].size(), 4u);
    EXPECT_NE(QTCaptureDevice::inputDevices(), nullptr);
    EXPECT_EQ(must({{"cmd", "trace"}})["trace"].size(), 4u);
}

TEST_F(Devices, and_sessions_are_traced_call_by_call) {
    start({{{"media", {"video", "sound"}}, {"fps", 0}}});
    {
        const CallScope scope;
        Chain chain = this->chain();
        chain.input->connections()[1]->setEnabled(false);
        chain.output->setPixelBufferAttributes(sized(640, 480.5));
        chain.output->setPixelBufferAttributes({});
        chain.session->startRunning();
    }
    struct Row {
        const char* call;
        Json args;
        Json result;
    };
    const int64_t bgra = 0x42475241;
    const Row rows[] = {
        {"QTCaptureDevice.open", Json::object(), 1},
        {"QTCaptureSession.addInput", Json::object(), 1},
        {"QTCaptureSession.addOutput", Json::object(), 1},
        {"QTCaptureConnection.setEnabled", {{"media", "sound"}, {"enabled", false}}, nullptr},
        {"QTCaptureDecompressedVideoOutput.setPixelBufferAttributes",
         {{"width", 640}, {"height", 480.5}, {"format", bgra}},
         nullptr},
        {"QTCaptureDecompressedVideoOutput.setPixelBufferAttributes", {{"format", bgra}}, nullptr},
        {"QTCaptureSession.startRunning", Json::object(), nullptr},
        {"QTCaptureSession.stopRunning", Json::object(), nullptr},
        {"QTCaptureDevice.close", Json::object(), nullptr}};
    const Json trace = must({{"cmd", "trace"}})["trace"];
    ASSERT_EQ(trace.size(), std::size(rows));
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(trace[i]["call"], rows[i].call);
        EXPECT_EQ(trace[i]["device"], "v-1") << trace[i];
        EXPECT_EQ(trace[i]["args"], rows[i].args);
        EXPECT_EQ(trace[i]["result"], rows[i].result) << trace[i];
    }
}

TEST_F(Devices, and_sessions_skip_calls_that_a_fault_takes) {
    const CallScope scope;
    start({{{"width", 8}, {"height", 8}, {"fps", 500}}});
    Chain chain = this->chain();
    NSError* error = nullptr;
    for (const char* call :
         {"QTCaptureSession.addInput", "QTCaptureSession.addOutput", "QTCaptureConnection.setEnabled",
          "QTCaptureSession.startRunning", "QTCaptureDecompressedVideoOutput.setPixelBufferAttributes",
          "QTCaptureDevice.close"}) {
        must({{"cmd", "fault"}, {"call", call}, {"result", 0}});
    }
    EXPECT_FALSE(chain.session->addInput_error(*chain.input, &error));
    EXPECT_NE(error, nullptr);
    error = nullptr;
    EXPECT_FALSE(chain.session->addOutput_error(*chain.output, &error));
    EXPECT_NE(error, nullptr);
    chain.input->connections()[0]->setEnabled(false);
    EXPECT_TRUE(chain.input->connections()[0]->isEnabled());
    chain.output->setPixelBufferAttributes(sized(4, 4));
    chain.session->startRunning();
    EXPECT_FALSE(chain.session->isRunning());
    chain.device->close();
    EXPECT_TRUE(chain.device->isOpen());
    chain.session->startRunning();
    ASSERT_TRUE(chain.taker->waitForMore(1));
    EXPECT_EQ(chain.taker->seen()[0].width, 8u);
    must({{"cmd", "fault"}, {"call", "QTCaptureSession.stopRunning"}, {"result", 0}});
    chain.session->stopRunning();
    EXPECT_TRUE(chain.session->isRunning());
    EXPECT_TRUE(chain.taker->waitForMore(2));
}

}  // namespace
}  // namespace test
