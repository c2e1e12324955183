// Callers that are mistaken: answered by the module's numbers, with one completion each.
#include "tests/MAID/caller.h"

namespace test {
namespace {

int32_t ask(MaidEntryPoint call, NkMAIDObject* object, uint32_t command, Completion& done) {
    const auto count = [](NkMAIDObject*, uint32_t, uint32_t, uint32_t, MaidParam, MaidRef ref,
                          int32_t result) {
        ++static_cast<Completion*>(ref)->count;
        static_cast<Completion*>(ref)->result = result;
    };
    return call(object, command, 0, 0, 0, count, &done);
}

TEST_F(MaidTest, objects_that_were_never_opened_or_were_closed_are_zombies) {
    start();
    Opened* body = source();
    close(body);
    NkMAIDObject never{kMaidObjectSource, 1, nullptr, nullptr};
    const uint64_t before = library()["misuse"];
    for (NkMAIDObject* object : {&body->record, &never, static_cast<NkMAIDObject*>(nullptr)}) {
        for (uint32_t command = 2; command < 17; ++command) {
            Completion done;
            EXPECT_EQ(ask(call, object, command, done), kMaidResultZombieObject) << command;
            EXPECT_EQ(done.count, 1);
            EXPECT_EQ(done.result, kMaidResultZombieObject);
        }
    }
    EXPECT_EQ(library()["misuse"], before + 45);
}

TEST_F(MaidTest, an_object_of_another_module_is_none_of_this_one) {
    start();
    const MaidEntryPoint other = entryPointOf("D2");
    Completion done;
    EXPECT_EQ(ask(other, &module->record, kMaidCommandAsync, done), kMaidResultZombieObject);
    EXPECT_EQ(done.count, 1);
}

TEST_F(MaidTest, wrong_data_types_and_operations_are_told_apart) {
    start();
    Opened* body = source();
    uint32_t value = 0;
    const auto data = reinterpret_cast<MaidParam>(&value);
    EXPECT_EQ(run(body, kMaidCommandCapGet, 0x81D7, kMaidDataIntegerPtr, data),
              kMaidResultUnexpectedDataType);
    EXPECT_EQ(run(body, kMaidCommandCapGet, 0x81D7, kMaidDataUnsignedPtr, 0), kMaidResultUnexpectedDataType);
    EXPECT_EQ(run(body, kMaidCommandCapSet, 0x81D7, kMaidDataUnsigned, 1), kMaidResultNotSupported);
    EXPECT_EQ(run(body, kMaidCommandCapGet, 0x9999, kMaidDataUnsignedPtr, data), kMaidResultNotSupported);
    EXPECT_EQ(run(body, kMaidCommandCapStart, 0x81D7), kMaidResultNotSupported);
    EXPECT_EQ(run(body, kMaidCommandCapSet, kMaidCapabilityEventProc, kMaidDataUnsigned, 1),
              kMaidResultUnexpectedDataType);
    EXPECT_EQ(run(body, kMaidCommandMark), kMaidResultNotSupported);
    EXPECT_EQ(run(body, 99), kMaidResultNotSupported);
    NkMAIDObject record{};
    const auto child = reinterpret_cast<MaidParam>(&record);
    EXPECT_EQ(run(body, kMaidCommandOpen, 77, kMaidDataObjectPtr, child), kMaidResultValueOutOfBounds);
    EXPECT_EQ(run(body, kMaidCommandOpen, 1, kMaidDataUnsigned, 1), kMaidResultUnexpectedDataType);
}

TEST_F(MaidTest, closing_with_children_open_takes_them_along) {
    start();
    Opened* body = source();
    EXPECT_EQ(library()["objects"]["source"], 1);
    Opened* top = module;
    EXPECT_EQ(call(&top->record, kMaidCommandClose, 0, 0, 0, nullptr, nullptr), kMaidResultOrphanedChildren);
    module = nullptr;
    EXPECT_EQ(library()["objects"]["source"], 0);
    Completion done;
    EXPECT_EQ(ask(call, &body->record, kMaidCommandAsync, done), kMaidResultZombieObject);
    EXPECT_EQ(deviceState("nikon-1")["sessions"], 0);
}

TEST_F(MaidTest, closing_completes_what_was_begun) {
    start({{{"shutterLagMs", 60000}}});
    Opened* body = source();
    Completion done;
    EXPECT_EQ(issue(body, kMaidCommandCapStart, kMaidCapabilityCapture, 0, 0, done), kMaidResultPending);
    close(body);
    EXPECT_EQ(done.count, 1);
    EXPECT_EQ(done.result, kMaidResultAborted);
    EXPECT_EQ(deviceState("nikon-1")["exposing"], false);
}

TEST_F(MaidTest, the_same_body_can_be_open_twice) {
    start();
    Opened* first = source();
    Opened* second = source();
    EXPECT_EQ(deviceState("nikon-1")["sessions"], 2);
    close(first);
    EXPECT_EQ(getUnsigned(second, 0x81D7), 9u);
    EXPECT_EQ(deviceState("nikon-1")["sessions"], 1);
}

}  // namespace
}  // namespace test
