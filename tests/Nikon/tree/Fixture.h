/* Fixture.h: a root on a fake module, and all that the layer says to the outside.
 *
 * Sleeps are counted instead of slept: a test may poll for hours.
 */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "Nikon/CameraData.h"
#include "Nikon/Function.h"
#include "platform/CallScope.h"
#include "tests/Nikon/tree/FakeModule.h"
#include "tests/Nikon/tree/Forwarder.h"

/** In microseconds, one for each pause. */
extern std::vector<int64_t> pauses;

constexpr uint32_t kSourceId = 7;
constexpr uint32_t kItemId = 21;
constexpr uint32_t kImageId = 1;

class TreeTest : public testing::Test {
protected:
    TreeTest();
    ~TreeTest() override;

    /** Runs what it is given and returns what was written to standard output meanwhile. */
    template <class Action>
    std::string logOf(Action action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    /** The same without a look at the log, unless something has failed. */
    template <class Action>
    void quietly(Action action) {
        const std::string log = logOf(action);
        if (HasFailure()) std::fputs(log.c_str(), stderr);
    }

    /** A source, an item under it and an image under that, all of them with procedures. */
    void haveWholeTree();
    /** Opens them. */
    void openWholeTree();

    /** By which the module names the object to its event procedure. */
    static MaidRef referenceToProcedure(FakeObject& object) {
        return object.capability(kMaidCapabilityEventProc)->procedure.ref;
    }

    nikon::tagRefObj* source() { return nikon::GetRefChildPtr_ID(&root, kSourceId); }
    nikon::tagRefObj* item() { return nikon::GetRefChildPtr_ID(source(), kItemId); }
    nikon::tagRefObj* image() { return nikon::GetRefChildPtr_ID(item(), kImageId); }

    FakeModule module;
    FakeObject* fakeSource = nullptr;
    FakeObject* fakeItem = nullptr;
    FakeObject* fakeImage = nullptr;
    CallScope scope;
    nikon::tagRefObj root{};
    nikon::CameraData camera{};
};
