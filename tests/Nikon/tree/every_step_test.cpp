#include <algorithm>
#include <cstring>
#include <functional>

#include "Nikon/CallBack.h"
#include "tests/Nikon/tree/Pictures.h"

/* Everything that a module may do meanwhile, done at every single step of a camera's day: in the middle of
 * each command and of each poll. Whatever comes of it, nothing may be touched that has gone, nothing may
 * hang, and the tree must let itself be closed in the end. */
namespace {

using namespace nikon;

class EveryStep : public PicturesTest {
protected:
    EveryStep() {
        // From the beginning; the fixture has opened everything already.
        quietly([&] {
            source()->cameraData = nullptr;
            RemoveChild(&root, kSourceId);
        });
        fakeSource->can(0x8100, kMaidCapUnsigned, kMaidOperationGet | kMaidOperationSet).number = 3;
        fakeSource->can(17, kMaidCapProcess, kMaidOperationStart);
        fakeSource->can(0x8247, kMaidCapArray, kMaidOperationGet | kMaidOperationGetArray)
            .elements.resize(400);
        camera = {};
        std::strcpy(camera.imagePath, (folder / "frame").c_str());
        module.calls.clear();
        module.complaints.clear();
    }

    /** As the camera logic goes about it; each pointer is looked up anew after the module has been at work.
     */
    void liveThroughADay() {
        AddChild(&root, kSourceId);
        if (source() == nullptr) return;
        camera.source = source();
        camera.active = 1;
        source()->cameraData = &camera;
        SetUnsignedCapability(camera.source, 0x8100, 5);
        if (camera.source != nullptr) IssueProcess(camera.source, 17);
        NkMAIDArray frame{};
        if (camera.source != nullptr && GetArrayCapability(camera.source, 0x8247, &frame))
            std::free(frame.data);
        uint32_t id = 0;
        if (camera.source != nullptr && SelectItem(camera.source, &id)) fetch(static_cast<int32_t>(id));
        release();
    }

    void fetch(int32_t id) {
        if (GetRefChildPtr_ID(camera.source, id) == nullptr) AddChild(camera.source, id);
        tagRefObj* const opened = GetRefChildPtr_ID(camera.source, id);
        if (opened == nullptr) return;
        if (GetRefChildPtr_ID(opened, kImageId) == nullptr) AddChild(opened, kImageId);
        tagRefObj* const data = GetRefChildPtr_ID(opened, kImageId);
        if (data == nullptr) return;
        deliverAtPolls(picture(1000), 400);
        const auto look = module.before;
        module.before = [this, look](const FakeCall& call) {
            look(call);
            step(call);
        };
        isFetched = IssueAcquire(&camera, data);
        if (isFetched) RemoveChild(camera.source, id);
    }

    void release() {
        tagRefObj* const closing = camera.source;
        if (closing == nullptr) return;
        camera.active = 0;
        camera.source = nullptr;
        closing->cameraData = nullptr;
        RemoveChild(closing->parent, closing->id);
    }

    void step(const FakeCall& call) {
        if (isBusy || ++steps != when) return;
        isBusy = true;
        mischief(call);
        isBusy = false;
    }

    /** One day for each step, with the mischief at that step. */
    void atEveryStep(const std::function<void(const FakeCall&)>& what) {
        mischief = what;
        quietly([&] {
            for (when = 1; when == 1 || steps >= when - 1; ++when) {
                begin();
                liveThroughADay();
                ASSERT_LT(when, 2000) << "the day does not end";
                end();
            }
        });
        // As long a day as one without any mischief, and not just the first steps of one.
        EXPECT_GT(when, 40);
    }

    void begin() {
        steps = 0;
        isFetched = false;
        isBusy = false;
        module.before = [this](const FakeCall& call) { step(call); };
    }

    void end() {
        module.before = nullptr;
        module.answer = nullptr;
        module.completions = 1;
        module.completionPolls = 1;
        module.atPolls.clear();
        release();
        camera.acquiring = 0;
        while (root.childCount > 0 && RemoveChild(&root, root.children[0]->id)) {
        }
        ASSERT_EQ(root.childCount, 0U) << "at step " << when;
        // A module that says that it has delivered everything, and has delivered nothing, is believed.
        const bool wasDelivered = std::ranges::count(answers, 0) > 0;
        const auto left = files();
        if (!left.empty() || (isFetched && wasDelivered)) {
            EXPECT_EQ(contentOf(".nef"), picture(1000)) << "at step " << when;
        }
        answers.clear();
        std::filesystem::remove(pathOf(".nef"));
        EXPECT_TRUE(files().empty());
    }

    /** An event of each of the objects, if they are open. */
    void raiseEverywhere(uint32_t event, MaidParam parameter) {
        for (FakeObject* object : {&module.root, fakeSource, fakeItem, fakeImage}) {
            object->raise(event, parameter);
        }
    }

    std::function<void(const FakeCall&)> mischief;
    int when = 0;
    int steps = 0;
    bool isBusy = false;
    bool isFetched = false;
};

TEST_F(EveryStep, NothingHappens) {
    atEveryStep([](const FakeCall&) {});
    EXPECT_TRUE(module.complaints.empty());
    begin();
    when = 0;
    quietly([&] { liveThroughADay(); });
    EXPECT_TRUE(isFetched);
    EXPECT_EQ(contentOf(".nef"), picture(1000));
}

TEST_F(EveryStep, TheImageIsRemoved) {
    atEveryStep([this](const FakeCall&) { fakeItem->raise(kMaidEventRemoveChild, kImageId); });
}

TEST_F(EveryStep, TheItemIsRemoved) {
    atEveryStep([this](const FakeCall&) { fakeSource->raise(kMaidEventRemoveChild, kItemId); });
}

TEST_F(EveryStep, TheSourceIsRemoved) {
    atEveryStep([this](const FakeCall&) { module.root.raise(kMaidEventRemoveChild, kSourceId); });
}

TEST_F(EveryStep, ASourceWithoutACameraIsRemoved) {
    atEveryStep([this](const FakeCall&) {
        if (source() != nullptr) source()->cameraData = nullptr;
        tagRefObj* const gone = source();
        module.root.raise(kMaidEventRemoveChild, kSourceId);
        if (camera.source == gone && source() == nullptr) camera.source = nullptr;
    });
}

TEST_F(EveryStep, EverythingIsAnnouncedAgain) {
    atEveryStep([this](const FakeCall&) {
        module.root.raise(kMaidEventAddChild, kSourceId);
        fakeSource->raise(kMaidEventAddChild, kItemId);
        fakeItem->raise(kMaidEventAddChild, kImageId);
    });
}

TEST_F(EveryStep, CapabilitiesBecomeOthers) {
    atEveryStep([this](const FakeCall&) { raiseEverywhere(kMaidEventCapChange, 1); });
}

TEST_F(EveryStep, CapabilitiesGo) {
    std::vector<FakeCapability> all;
    atEveryStep([&](const FakeCall&) {
        all = fakeSource->capabilities;
        const NkMAIDCallback events = fakeSource->capability(kMaidCapabilityEventProc)->procedure;
        fakeSource->capabilities.clear();
        if (events.proc != nullptr) {
            reinterpret_cast<MaidEventProc>(events.proc)(events.ref, kMaidEventCapChange, 0);
        }
        fakeSource->capabilities = all;
    });
}

TEST_F(EveryStep, EveryKindOfEventComes) {
    atEveryStep([this](const FakeCall&) {
        for (const uint32_t event : {2U, 3U, 5U, 6U, 0x107U, 0xFFFFFFFFU}) {
            raiseEverywhere(event, 0xFFFFFFFF);
        }
    });
}

TEST_F(EveryStep, ProgressIsReported) {
    atEveryStep([this](const FakeCall&) {
        for (FakeObject* object : {&module.root, fakeSource, fakeItem, fakeImage}) {
            object->progress(1, 0);
            object->progress(0xFFFFFFFF, 1);
        }
    });
}

TEST_F(EveryStep, CompletionsComeAtOnceAndAgain) {
    atEveryStep([this](const FakeCall& call) {
        module.complete(call, 0);
        module.complete(call, kMaidResultHardwareError);
    });
}

TEST_F(EveryStep, AllCompletionsOfThePastComeAgain) {
    atEveryStep([this](const FakeCall&) {
        for (const FakeCall& call : std::vector<FakeCall>(module.calls)) {
            if (&call != &module.calls.back()) module.complete(call, 0);
        }
        module.calls.clear();
    });
}

TEST_F(EveryStep, ACommandFails) {
    for (const int32_t result : {2, 257, -119, -124}) {
        atEveryStep([&](const FakeCall&) {
            module.answer = [this, result](const FakeCall&) {
                module.answer = nullptr;
                return std::optional(result);
            };
        });
    }
}

TEST_F(EveryStep, ACommandFailsAndIsNeverCompleted) {
    atEveryStep([&](const FakeCall& call) {
        if (call.command == kMaidCommandAsync) return;
        module.answer = [this](const FakeCall&) {
            module.answer = nullptr;
            module.completionPolls = 1000000;
            const auto look = module.before;
            module.before = [this, look](const FakeCall& later) {
                if (later.command != kMaidCommandAsync) module.completionPolls = 1;
                if (look) look(later);
            };
            return std::optional<int32_t>(kMaidResultHardwareError);
        };
    });
}

TEST_F(EveryStep, TheModuleFailsForGood) {
    atEveryStep([&](const FakeCall&) {
        module.answer = [](const FakeCall&) { return std::optional<int32_t>(kMaidResultHardwareError); };
    });
}

TEST_F(EveryStep, TheRootIsGivenUpUnderway) {
    // At the end of a day only: nobody closes a module from inside one of its calls.
    for (when = 0; when < 60; ++when) {
        begin();
        mischief = [this](const FakeCall&) {
            module.answer = [](const FakeCall&) { return std::optional<int32_t>(kMaidResultHardwareError); };
        };
        quietly([&] { liveThroughADay(); });
        module.before = nullptr;
        module.answer = nullptr;
        quietly([&] { EXPECT_TRUE(Close_Module(&root)) << when; });
        module.root.isOpen = false;
        module.openRoot(&root);
        quietly([&] { SetProc(&root); });
    }
}

}  // namespace
