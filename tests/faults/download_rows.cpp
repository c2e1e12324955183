// Rows of the call that fetches a picture.
#include "tests/faults/row.h"

namespace e2e::faults {

namespace {

constexpr const char* kInfo = "EdsGetDirectoryItemInfo";
constexpr const char* kCreate = "EdsCreateFileStreamEx";
constexpr const char* kReport = "EdsSetProgressCallback";
constexpr const char* kTransfer = "EdsDownload";
constexpr const char* kComplete = "EdsDownloadComplete";
constexpr const char* kCancel = "EdsDownloadCancel";
constexpr const char* kReleaseStream = "EdsRelease stream";
constexpr const char* kReleaseItem = "EdsRelease directoryItem";
constexpr const char* kSetTv = "EdsSetPropertyData 0x406=68000000";
constexpr int32_t kOtherTv = 0x68;

Json shotsOf(const std::vector<std::string>& names) {
    Json files = Json::array();
    for (const std::string& name : names) {
        files.push_back({{"name", name}, {"bytes", kPictureBytes}});
    }
    Json shots = Json::array();
    shots.push_back(files);
    return {{"shots", shots}};
}

std::vector<Json> pairBody() {
    Json more = shotsOf({"IMG_0001.CR2", "IMG_0001.JPG"});
    more["properties"] = property(kImageQuality, 9, kRawAndJpegQuality);
    return modernBody(more);
}

Bytes firstItem(const Stage& stage) {
    return Message().int32(stage.session).int32(stage.items.at(0));
}

void withPicture(Stage& stage) {
    withSession(stage);
    stage.shoot();
}

void withPair(Stage& stage) {
    withSession(stage);
    stage.shoot(2);
}

void withRestOfPair(Stage& stage) {
    withPair(stage);
    EXPECT_EQ(stage.canon().download(stage.session, stage.items.at(0)), 0);
    stage.items.erase(stage.items.begin());
}

/** The first one is counted as dealt with although nobody has it. */
void withLostFirstOfPair(Stage& stage) {
    withPair(stage);
    stage.lab().fault("EdsDownload", 0xA8);
    EXPECT_EQ(stage.canon().download(stage.session, stage.items.at(0)), 0xA8);
    stage.items.erase(stage.items.begin());
}

void withPendingTv(Stage& stage) {
    withSession(stage);
    EXPECT_TRUE(stage.canon().setSetting(stage.session, kTv, kOtherTv));
    stage.shoot();
}

void withPathThatIsNoText(Stage& stage) {
    withSession(stage);
    stage.pictureName = "fr\xC0me";
    stage.shoot();
}

void withPathInNoFolder(Stage& stage) {
    withSession(stage);
    stage.pictureName = "nowhere/frame";
    stage.shoot();
}

Row download(std::string name, std::vector<Json> cameras, void (*prepare)(Stage&)) {
    return {
        .name = std::move(name),
        .method = 27,
        .cameras = std::move(cameras),
        .prepare = prepare,
        .arguments = firstItem,
        .usual = value(0),
        .calls = {{kInfo, failureOf(kInfo), failureOf(kInfo), Labels{kReleaseItem}},
                  {kCreate, failureOf(kCreate), failureOf(kTransfer), Labels{kCancel, kReleaseItem}},
                  {kReport, failureOf(kReport), failureOf(kTransfer),
                   Labels{kCancel, kReleaseStream, kReleaseItem}},
                  {kTransfer, failureOf(kTransfer), failureOf(kTransfer),
                   Labels{kCancel, kReleaseStream, kReleaseItem}},
                  // The file is whole, but the camera does not know.
                  {kComplete, failureOf(kComplete), failureOf(kComplete)},
                  {kReleaseStream, usual, usual},
                  {kReleaseItem, usual, usual}},
        .completesCapture = true,
    };
}

Row firstOfPair() {
    Row row = download("DownloadImage_first_of_a_pair", pairBody(), withPair);
    row.completesCapture = false;
    return row;
}

/** A shot of which the helper could not learn that it yields two files. */
void withUnexpectedPair(Stage& stage) {
    withSession(stage);
    stage.lab().fault("EdsGetPropertyData", 0x81, {{"property", kImageQuality}});
    stage.shoot(2);
}

/** A shutter speed that was set before the shot is set once more at the first report of progress. */
Row withTvToSet() {
    Row row = download("DownloadImage_with_a_shutter_speed_to_set", modernBody(shotsOf({"IMG_0001.JPG"})),
                       withPendingTv);
    // When that fails, the next report tries again, in the middle of the transfer.
    row.calls.insert(row.calls.begin(), Step{kSetTv, usual, failureOf(kInfo),
                                             Labels{kInfo, kCreate, kReport, kTransfer, kSetTv, kComplete,
                                                    kReleaseStream, kReleaseItem}});
    return row;
}

/** Refused before anything is made. */
Row pathThatIsNoText() {
    return {
        .name = "DownloadImage_to_a_path_that_is_no_text",
        .method = 27,
        .cameras = modernBody(shotsOf({"IMG_0001.JPG"})),
        .prepare = withPathThatIsNoText,
        .arguments = firstItem,
        .usual = value(1001),
        .calls = {{kInfo, failureOf(kInfo), failureOf(kInfo), Labels{kReleaseItem}},
                  {kReleaseItem, usual, usual}},
    };
}

/** The way of a failure, on which the calls may fail in their turn. */
Row lostStream(std::string name, void (*prepare)(Stage&), std::vector<Json> standing) {
    return {
        .name = std::move(name),
        .method = 27,
        .cameras = modernBody(shotsOf({"IMG_0001.JPG"})),
        .prepare = prepare,
        .arguments = firstItem,
        .usual = failureOf(kCreate),
        .calls = {{kInfo, failureOf(kInfo), failureOf(kInfo), Labels{kReleaseItem}},
                  {kCreate, failureOf(kCreate), failureOf(kCreate)},
                  {kCancel, usual, usual},
                  {kReleaseItem, usual, usual}},
        .standing = std::move(standing),
    };
}

Row lostTransfer() {
    return {
        .name = "DownloadImage_that_breaks_off",
        .method = 27,
        .cameras = modernBody(shotsOf({"IMG_0001.JPG"})),
        .prepare = withPicture,
        .arguments = firstItem,
        .usual = failureOf(kTransfer),
        .calls = {{kInfo, failureOf(kInfo), failureOf(kInfo), Labels{kReleaseItem}},
                  {kCreate, failureOf(kCreate), usual, Labels{kCancel, kReleaseItem}},
                  {kReport, failureOf(kReport), usual, Labels{kCancel, kReleaseStream, kReleaseItem}},
                  {kTransfer, usual, usual},
                  {kCancel, usual, usual},
                  {kReleaseStream, usual, usual},
                  {kReleaseItem, usual, usual}},
        .standing = {{{"cmd", "fault"}, {"call", kTransfer}, {"result", 0xA8}, {"times", 0}}},
    };
}

Row thumbnail() {
    return {
        .name = "DownloadImage_of_a_thumbnail",
        .method = 27,
        .cameras = modernBody(shotsOf({"IMG_0001.THM"})),
        .prepare = withPicture,
        .arguments = firstItem,
        .usual = value(0),
        .calls = {{kInfo, failureOf(kInfo), failureOf(kInfo), Labels{kReleaseItem}},
                  {kCancel, usual, usual},
                  {kReleaseItem, usual, usual}},
    };
}

}  // namespace

std::vector<Row> downloadRows() {
    return {
        download("DownloadImage", modernBody(shotsOf({"IMG_0001.JPG"})), withPicture),
        firstOfPair(),
        download("DownloadImage_first_of_an_unexpected_pair", pairBody(), withUnexpectedPair),
        download("DownloadImage_second_of_a_pair", pairBody(), withRestOfPair),
        download("DownloadImage_second_of_a_pair_whose_first_is_lost", pairBody(), withLostFirstOfPair),
        download("DownloadImage_of_a_legacy_camera", legacyBody(shotsOf({"IMG_0001.JPG"})), withPicture),
        withTvToSet(),
        pathThatIsNoText(),
        lostStream("DownloadImage_into_no_folder", withPathInNoFolder, {}),
        lostStream("DownloadImage_without_a_stream", withPicture,
                   {{{"cmd", "fault"}, {"call", kCreate}, {"result", 0x2A}, {"times", 0}}}),
        lostTransfer(),
        thumbnail(),
    };
}

}  // namespace e2e::faults
