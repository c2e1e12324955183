#include "tests/Nikon/tree/Fixture.h"

#include <ctime>

std::vector<int64_t> pauses;

extern "C" __attribute__((visibility("default"))) int __wrap_nanosleep(const timespec* duration, timespec*) {
    pauses.push_back(int64_t{duration->tv_sec} * 1000000 + duration->tv_nsec / 1000);
    return 0;
}

TreeTest::TreeTest() {
    module.openRoot(&root);
    sentStatuses.clear();
    atStatus = nullptr;
    sentPercents.clear();
    pauses.clear();
}

TreeTest::~TreeTest() {
    nikon::FreeTree(&root);
}

void TreeTest::haveWholeTree() {
    fakeSource = &module.root.add(kMaidObjectSource, kSourceId);
    fakeItem = &fakeSource->add(kMaidObjectItem, kItemId);
    fakeImage = &fakeItem->add(kMaidObjectData, kImageId);
    for (FakeObject* object : {&module.root, fakeSource, fakeItem, fakeImage}) {
        object->hasProcedure(kMaidCapabilityProgressProc);
        object->hasProcedure(kMaidCapabilityEventProc);
        object->hasChildrenList();
    }
    module.root.hasProcedure(kMaidCapabilityUIRequestProc);
    fakeImage->hasProcedure(kMaidCapabilityDataProc);
    fakeImage->can(kMaidCapabilityAcquire, kMaidCapProcess, kMaidOperationStart);
    nikon::EnumCapabilities(&root, &root.capCount, &root.capInfo);
    quietly([&] { nikon::SetProc(&root); });
    module.calls.clear();
    module.polls = 0;
    pauses.clear();
}

void TreeTest::openWholeTree() {
    haveWholeTree();
    quietly([&] {
        ASSERT_TRUE(nikon::AddChild(&root, kSourceId));
        ASSERT_TRUE(nikon::AddChild(source(), kItemId));
        ASSERT_TRUE(nikon::AddChild(item(), kImageId));
    });
    source()->cameraData = &camera;
    camera.source = source();
    camera.active = 1;
    module.calls.clear();
    module.polls = 0;
    pauses.clear();
}
