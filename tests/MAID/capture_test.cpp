// Releases, items and their data, block by block.
#include <new>

#include "tests/MAID/caller.h"

namespace test {
namespace {

Json oneItem(const Json& item) {
    return {{"shots", {Json::array({item})}}};
}

class Captures : public MaidTest {
protected:
    /** Releases the shutter and opens the image of the first item. */
    Opened* shoot(const Json& body) {
        start({body});
        source_ = source();
        EXPECT_GE(run(source_, kMaidCommandCapStart, kMaidCapabilityCapture), 0);
        EXPECT_EQ(last.result, 0);
        EXPECT_TRUE(pollUntil(source_, [&] { return !source_->events.empty(); }));
        item_ = open(source_, static_cast<uint32_t>(source_->events.at(0).parameter));
        return open(item_, 1);
    }
    int32_t acquire(Opened* image) {
        run(image, kMaidCommandCapStart, kMaidCapabilityAcquire);
        return last.result;
    }

    Opened* source_ = nullptr;
    Opened* item_ = nullptr;
};

TEST_F(Captures, deliver_a_file_in_its_blocks_with_progress_between_them) {
    const Folder folder;
    const std::string content = "ten bytes!";
    const Json item = {{"dataType", 4}, {"file", folder.write("a.nef", content)}, {"blocks", 3}, {"dual", 1}};
    Opened* image = shoot(oneItem(item));
    EXPECT_EQ(getUnsigned(image, 0x81B5), 1u);
    EXPECT_EQ(acquire(image), 0);
    EXPECT_EQ(image->data, content);
    ASSERT_EQ(image->blocks.size(), 3u);
    uint32_t start = 0;
    for (const NkMAIDFileInfo& block : image->blocks) {
        EXPECT_EQ(block.base.type, static_cast<uint32_t>(kMaidDataObjectFile | kMaidDataObjectImage));
        EXPECT_EQ(block.fileDataType, 4u);
        EXPECT_EQ(block.totalLength, 10u);
        EXPECT_EQ(block.start, start);
        EXPECT_NE(block.removeObject, 0);
        start += block.length;
    }
    ASSERT_EQ(image->progress.size(), 3u);
    EXPECT_LT(image->progress[0].done, 10u);
    EXPECT_EQ(image->progress[2].done, 10u);
    EXPECT_EQ(image->progress[2].total, 10u);
    EXPECT_TRUE(children(source_).empty());
}

TEST_F(Captures, keep_an_item_that_is_to_stay) {
    Opened* image = shoot(oneItem({{"bytes", 50}, {"remove", false}}));
    EXPECT_EQ(acquire(image), 0);
    EXPECT_EQ(image->blocks.at(0).removeObject, 0);
    EXPECT_EQ(children(source_).size(), 1u);
    EXPECT_EQ(acquire(image), 0);
}

TEST_F(Captures, end_at_a_refused_block_and_keep_the_item) {
    Opened* image = shoot(oneItem({{"bytes", 50}, {"blocks", 5}}));
    image->answerToData = kMaidResultUnexpectedError;
    EXPECT_EQ(acquire(image), kMaidResultUnexpectedError);
    EXPECT_EQ(image->blocks.size(), 1u);
    EXPECT_TRUE(image->progress.empty());
    EXPECT_EQ(children(source_).size(), 1u);
    image->answerToData = 0;
    EXPECT_EQ(acquire(image), 0);
}

int32_t runOutOfMemory(MaidRef, void*, void*) {
    throw std::bad_alloc();
}

TEST_F(Captures, that_run_out_of_memory_complete_and_can_be_tried_again) {
    Opened* image = shoot(oneItem({{"bytes", 50}}));
    NkMAIDCallback none{reinterpret_cast<void (*)()>(runOutOfMemory), nullptr};
    EXPECT_EQ(run(image, kMaidCommandCapSet, kMaidCapabilityDataProc, kMaidDataCallbackPtr,
                  reinterpret_cast<MaidParam>(&none)),
              0);
    EXPECT_EQ(acquire(image), kMaidResultOutOfMemory);
    EXPECT_EQ(children(source_).size(), 1u);
    install(image);
    EXPECT_EQ(acquire(image), 0);
}

TEST_F(Captures, of_nothing_deliver_one_empty_block) {
    Opened* image = shoot(oneItem({{"dataType", 257}, {"bytes", 0}}));
    EXPECT_EQ(acquire(image), 0);
    ASSERT_EQ(image->blocks.size(), 1u);
    EXPECT_EQ(image->blocks[0].length, 0u);
    EXPECT_EQ(image->blocks[0].fileDataType, 257u);
}

TEST_F(Captures, complete_before_the_items_are_announced) {
    start({{{"shutterLagMs", 20}, {"shots", {{{{"bytes", 1}}, {{"bytes", 2}}}}}}});
    source_ = source();
    EXPECT_EQ(run(source_, kMaidCommandCapStart, kMaidCapabilityCapture), kMaidResultPending);
    EXPECT_TRUE(pollUntil(source_, [&] { return source_->events.size() == 2; }));
    EXPECT_EQ(children(source_), (std::vector<uint32_t>{1, 2}));
}

TEST_F(Captures, are_refused_while_the_camera_is_busy) {
    start({{{"shutterLagMs", 60000}}});
    source_ = source();
    Completion first;
    EXPECT_EQ(issue(source_, kMaidCommandCapStart, kMaidCapabilityCapture, 0, 0, first), kMaidResultPending);
    EXPECT_EQ(run(source_, kMaidCommandCapStart, kMaidCapabilityCapture), kMaidResultDeviceBusy);
    EXPECT_EQ(last.result, kMaidResultDeviceBusy);
    EXPECT_EQ(run(source_, kMaidCommandAbort), 0);
    EXPECT_EQ(first.count, 1);
    EXPECT_EQ(first.result, kMaidResultAborted);
    EXPECT_EQ(deviceState("nikon-1")["exposing"], false);
}

TEST_F(Captures, that_lose_their_camera_in_the_middle_of_a_transfer_say_so) {
    Json body = oneItem({{"bytes", 1000000}, {"blocks", 100}});
    body["transferBytesPerSecond"] = 100000;
    Opened* image = shoot(body);
    Completion done;
    EXPECT_EQ(issue(image, kMaidCommandCapStart, kMaidCapabilityAcquire, 0, 0, done), kMaidResultPending);
    EXPECT_TRUE(pollUntil(image, [&] { return !image->blocks.empty(); }));
    must({{"cmd", "detach"}, {"id", "nikon-1"}});
    EXPECT_TRUE(pollUntil(image, [&] { return done.count > 0; }));
    EXPECT_EQ(done.result, kMaidResultZombieObject);
    EXPECT_LT(image->blocks.size(), 100u);
}

TEST_F(Captures, without_a_data_procedure_are_refused) {
    Opened* image = shoot(oneItem({{"bytes", 5}}));
    EXPECT_EQ(run(image, kMaidCommandCapSet, kMaidCapabilityDataProc), 0);
    EXPECT_EQ(acquire(image), kMaidResultNoDataProc);
}

TEST_F(Captures, by_the_button_of_the_camera_are_announced) {
    start();
    source_ = source();
    must({{"cmd", "press"}, {"id", "nikon-1"}});
    poll(source_);
    EXPECT_EQ(source_->events.size(), 1u);
}

TEST_F(Captures, may_yield_nothing) {
    start({{{"shots", {Json::array()}}}});
    source_ = source();
    run(source_, kMaidCommandCapStart, kMaidCapabilityCapture);
    EXPECT_EQ(last.result, 0);
    poll(source_, 3);
    EXPECT_TRUE(source_->events.empty());
    EXPECT_EQ(deviceState("nikon-1")["shots"], 1);
}

}  // namespace
}  // namespace test
