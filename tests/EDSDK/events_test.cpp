// Where, when and to whom events are delivered.
#include <atomic>
#include <future>

#include "platform/Events.h"
#include "tests/EDSDK/fixture.h"

namespace test {
namespace {

class Events : public EdsTest {
protected:
    static void raise(int parameter) {
        must({{"cmd", "event"},
              {"id", "canon-1"},
              {"kind", "state"},
              {"event", "0x302"},
              {"parameter", parameter}});
    }
};

TEST_F(Events, come_on_the_thread_that_started_the_library) {
    EdsCameraRef reference = session();
    std::thread([&] { EXPECT_EQ(set(reference, 0x406, 80), EDS_ERR_OK); }).join();
    EXPECT_TRUE(heard.properties.empty()) << "nothing comes before this thread looks at its queue";
    EXPECT_TRUE(pumpUntil([&] { return heard.properties.size() == 1; }));
    EXPECT_EQ(heard.threads.at(0), std::this_thread::get_id());
    release(reference);
}

TEST_F(Events, come_one_for_each_get_event_on_the_thread_that_calls) {
    EdsCameraRef reference = session();
    raise(1);
    raise(2);
    std::thread::id other;
    std::thread([&] {
        other = std::this_thread::get_id();
        EXPECT_EQ(EdsGetEvent(), EDS_ERR_OK);
    }).join();
    ASSERT_EQ(heard.states.size(), 1u);
    EXPECT_EQ(heard.states[0].parameter, 1u);
    EXPECT_EQ(heard.threads.at(0), other);
    pump();
    EXPECT_EQ(heard.states.size(), 2u) << "none comes twice";
    EXPECT_EQ(EdsGetEvent(), EDS_ERR_OK);
    EXPECT_EQ(heard.states.size(), 2u);
    release(reference);
}

TEST_F(Events, keep_their_order) {
    EdsCameraRef reference = session();
    for (int i = 0; i < 100; ++i) {
        raise(i);
    }
    EXPECT_TRUE(pumpUntil([&] { return heard.states.size() == 100; }));
    for (EdsUInt32 i = 0; i < 100; ++i) {
        EXPECT_EQ(heard.states.at(i).parameter, i);
    }
    release(reference);
}

TEST_F(Events, go_to_the_handler_that_is_there_when_they_come) {
    EdsCameraRef reference = session();
    raise(1);
    EXPECT_EQ(EdsSetCameraStateEventHandler(reference, kEdsStateEvent_All, nullptr, nullptr), EDS_ERR_OK);
    pump();
    EXPECT_TRUE(heard.states.empty());
    raise(2);
    install(reference);
    pump();
    ASSERT_EQ(heard.states.size(), 1u);
    EXPECT_EQ(heard.states[0].parameter, 2u);
    release(reference);
}

TEST_F(Events, of_one_number_reach_a_handler_for_it_or_for_all) {
    EdsCameraRef reference = session();
    const auto handler = [](EdsStateEvent event, EdsUInt32, EdsVoid* context) -> EdsError {
        static_cast<Heard*>(context)->states.push_back({event, 0});
        return EDS_ERR_OK;
    };
    EXPECT_EQ(EdsSetCameraStateEventHandler(reference, kEdsStateEvent_CaptureError, handler, &heard),
              EDS_ERR_OK);
    raise(1);
    must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "state"}, {"event", "0x305"}});
    pump();
    ASSERT_EQ(heard.states.size(), 1u);
    EXPECT_EQ(heard.states[0].event, static_cast<EdsStateEvent>(kEdsStateEvent_CaptureError));
    release(reference);
}

TEST_F(Events, of_a_handler_without_context_come_with_none) {
    EdsCameraRef reference = session();
    static EdsVoid* seen;
    seen = &seen;
    const auto handler = [](EdsStateEvent, EdsUInt32, EdsVoid* context) -> EdsError {
        seen = context;
        return EDS_ERR_OK;
    };
    EXPECT_EQ(EdsSetCameraStateEventHandler(reference, kEdsStateEvent_All, handler, nullptr), EDS_ERR_OK);
    raise(1);
    pump();
    EXPECT_EQ(seen, nullptr);
    release(reference);
}

TEST_F(Events, may_be_without_an_object) {
    EdsCameraRef reference = session();
    must({{"cmd", "event"}, {"id", "canon-1"}, {"kind", "object"}, {"event", "0x208"}});
    EXPECT_TRUE(pumpUntil([&] { return heard.objects.size() == 1; }));
    EXPECT_EQ(heard.objects.at(0).object, nullptr);
    release(reference);
}

TEST_F(Events, of_a_picture_come_with_a_reference_of_their_own) {
    EdsCameraRef reference = session();
    const auto items = shoot(reference);
    must({{"cmd", "event"},
          {"id", "canon-1"},
          {"kind", "object"},
          {"event", "0x205"},
          {"picture", "IMG_0001.JPG"}});
    EXPECT_TRUE(pumpUntil([&] { return heard.objects.size() == 2; }));
    EXPECT_EQ(references("directoryItem"), 2);
    EXPECT_STREQ(info(heard.objects.at(1).object).szFileName, "IMG_0001.JPG");
    EXPECT_EQ(EdsRelease(heard.objects[1].object), 0u);
    EXPECT_EQ(EdsRelease(items.at(0)), 0u);
    release(reference);
}

TEST_F(Events, let_their_handlers_call_whatever_they_like) {
    EdsCameraRef reference = session();
    static std::atomic<int> calls;
    calls = 0;
    const auto handler = [](EdsObjectEvent, EdsBaseRef item, EdsVoid* context) -> EdsError {
        EdsDirectoryItemInfo itemInfo{};
        EdsStreamRef stream = nullptr;
        EXPECT_EQ(EdsGetDirectoryItemInfo(item, &itemInfo), EDS_ERR_OK);
        EXPECT_EQ(EdsCreateMemoryStream(0, &stream), EDS_ERR_OK);
        EXPECT_EQ(EdsDownload(item, itemInfo.size, stream), EDS_ERR_OK);
        EXPECT_EQ(EdsDownloadComplete(item), EDS_ERR_OK);
        EXPECT_EQ(EdsRelease(stream), 0u);
        EXPECT_EQ(EdsRelease(item), 0u);
        if (++calls == 1) {
            EXPECT_EQ(take(*static_cast<EdsCameraRef*>(context)), EDS_ERR_OK);
        }
        return EDS_ERR_OK;
    };
    EXPECT_EQ(EdsSetObjectEventHandler(reference, kEdsObjectEvent_All, handler, &reference), EDS_ERR_OK);
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    EXPECT_TRUE(pumpUntil([] { return calls == 2; }));
    EXPECT_EQ(references("directoryItem"), 0);
    EXPECT_TRUE(deviceState("canon-1")["pictures"].empty());
    release(reference);
}

TEST_F(Events, of_a_camera_that_nobody_holds_are_dropped) {
    EdsCameraRef reference = session();
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    raise(1);
    EXPECT_EQ(library()["waitingEvents"], 2);
    EXPECT_EQ(EdsRelease(reference), 0u);
    pump();
    EXPECT_TRUE(heard.objects.empty());
    EXPECT_TRUE(heard.states.empty());
    EXPECT_EQ(references("directoryItem"), 0);
    EXPECT_EQ(library()["waitingEvents"], 0);
}

TEST_F(Events, that_nobody_fetches_do_not_pile_up_for_ever) {
    EdsCameraRef reference = session();
    EXPECT_EQ(take(reference), EDS_ERR_OK);
    for (int i = 0; i < 4096; ++i) {
        set(reference, 0x406, i);
    }
    EXPECT_EQ(library()["waitingEvents"], 4096);
    EXPECT_EQ(library()["droppedEvents"], 1);
    EXPECT_EQ(references("directoryItem"), 0) << "the oldest went, and its reference with it";
    pump();
    EXPECT_EQ(heard.properties.size(), 4096u);
    release(reference);
}

TEST_F(Events, go_on_after_their_thread_has_ended) {
    lay(Json::array({Json{{"id", "canon-1"}, {"family", "canon"}}}));
    std::thread([] {
        GetCurrentEventQueue();
        EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
    }).join();
    EdsCameraRef reference = camera();
    install(reference);
    raise(7);
    EXPECT_EQ(EdsGetEvent(), EDS_ERR_OK);
    ASSERT_EQ(heard.states.size(), 1u);
    EXPECT_EQ(heard.states[0].parameter, 7u);
    release(reference);
}

TEST_F(Events, of_a_library_that_was_started_again_go_to_its_new_thread) {
    EdsCameraRef reference = session();
    raise(1);
    EXPECT_EQ(EdsTerminateSDK(), EDS_ERR_OK);
    pump();
    EXPECT_TRUE(heard.states.empty());
    std::promise<void> isStarted;
    std::thread::id worker;
    std::thread thread([&] {
        worker = std::this_thread::get_id();
        EXPECT_EQ(EdsInitializeSDK(), EDS_ERR_OK);
        isStarted.set_value();
        EXPECT_TRUE(pumpUntil([&] { return !heard.states.empty(); }));
    });
    isStarted.get_future().wait();
    reference = camera();
    install(reference);
    raise(2);
    thread.join();
    EXPECT_EQ(heard.threads.at(0), worker);
    release(reference);
}

}  // namespace
}  // namespace test
