#include "host/client/ShotTaker.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>

#include <condition_variable>
#include <map>

#include "host/client/Deadline.h"
#include "tests/host/FakeHelper.h"

namespace {

using namespace std::chrono_literals;
using fake::Bytes;
using tarvo::Failure;

constexpr auto kPatient = 20s;
constexpr int32_t kHandle = -1234;

int32_t intAt(const Bytes& bytes, size_t at) {
    return static_cast<int32_t>(static_cast<uint32_t>(bytes[at]) | static_cast<uint32_t>(bytes[at + 1]) << 8 |
                                static_cast<uint32_t>(bytes[at + 2]) << 16 |
                                static_cast<uint32_t>(bytes[at + 3]) << 24);
}

/* A camera behind a helper of one handle: answers the calls of a shot and sends the events that a test asks
 * for when the shutter is pressed. */
class FakeCamera {
public:
    struct Event {
        uint8_t kind;
        std::vector<int32_t> ints;
    };

    int32_t quality = 0x0013FF0F;
    int32_t prepareStatus = 0;
    int32_t captureStatus = 0;
    std::vector<Event> onCapture;
    std::map<int32_t, int32_t> downloadStatus;  // by item; 0 otherwise
    bool announcesFailedDownloads = true;

    FakeCamera() : helper_([this](fake::Peer& peer) { serve(peer); }) {}

    uint16_t port() const { return helper_.port(); }

    void send(const Event& event) {
        std::unique_lock lock(mutex_);
        isRegistered_.wait(lock, [this] { return callback_ != nullptr; });
        Bytes bytes = fake::join({{10, 0x33, 0x22, 0x11, 0}, {event.kind}});
        for (const int32_t value : event.ints)
            bytes = fake::join({bytes, fake::intBytes(value)});
        callback_->write(bytes);
    }
    std::vector<std::string> log() {
        const std::lock_guard lock(mutex_);
        return log_;
    }
    int64_t captureDeadline() {
        const std::lock_guard lock(mutex_);
        return captureDeadline_;
    }

private:
    void serve(fake::Peer& peer) {
        Bytes module = peer.read(1);
        if (module == Bytes{8}) {
            {
                const std::lock_guard lock(mutex_);
                callback_ = &peer;
            }
            isRegistered_.notify_all();
            peer.waitForClose();
            const std::lock_guard lock(mutex_);
            callback_ = nullptr;
            return;
        }
        while (module == Bytes{10}) {
            const Bytes method = peer.read(1);
            if (method.empty()) return;
            answer(peer, method[0]);
            module = peer.read(1);
        }
    }

    void note(const std::string& what) {
        const std::lock_guard lock(mutex_);
        log_.push_back(what);
    }

    std::string readText(fake::Peer& peer) {
        const auto length = static_cast<size_t>(intAt(peer.read(4), 0));
        const Bytes text = peer.read(length);
        return {text.begin(), text.end()};
    }

    void answer(fake::Peer& peer, uint8_t method) {
        peer.read(4);  // the handle
        int32_t status = 0;
        if (method == 25) {
            note("prepare " + readText(peer));
            peer.read(1);
            status = prepareStatus;
        } else if (method == 16) {
            peer.read(4);
            status = quality;
        } else if (method == 24) {
            note("capture " + readText(peer));
            const Bytes deadline = peer.read(8);
            {
                const std::lock_guard lock(mutex_);
                captureDeadline_ = static_cast<int64_t>(static_cast<uint32_t>(intAt(deadline, 0))) |
                                   static_cast<int64_t>(intAt(deadline, 4)) << 32;
            }
            for (const auto& event : onCapture)
                send(event);
            status = captureStatus;
        } else if (method == 27) {
            const int32_t item = intAt(peer.read(4), 0);
            note("download " + std::to_string(item));
            if (const auto found = downloadStatus.find(item); found != downloadStatus.end())
                status = found->second;
            if (status > 0 && announcesFailedDownloads) send({3, {kHandle, 0x305, 0}});
        }
        peer.write(fake::join({{10, method, 10, method}, method == 26 ? Bytes{} : fake::intBytes(status)}));
    }

    std::mutex mutex_;
    std::condition_variable isRegistered_;
    fake::Peer* callback_ = nullptr;
    std::vector<std::string> log_;
    int64_t captureDeadline_ = -1;
    fake::FakeHelper helper_;  // last: its threads use the rest
};

class ShotTakerTest : public testing::Test {
protected:
    // Connects in the order that real hosts must: events first.
    tarvo::ShotOutcome take(tarvo::ShotRequest request) {
        connect();
        return taker_->take(request);
    }
    void connect() {
        if (taker_) return;
        ASSERT_FALSE(events_.open(camera_.port(), kPatient, [this](const tarvo::Event&) { ++heard_; }));
        ASSERT_FALSE(connection_.open(camera_.port(), kPatient));
        client_.setLimit(kPatient);
        taker_ = std::make_unique<tarvo::ShotTaker>(client_, events_, [this](const auto& download) {
            downloads_.push_back(download);
            return download.status == 0 && download.item != thumbnailItem_;
        });
    }
    static tarvo::ShotRequest request() {
        tarvo::ShotRequest request;
        request.handle = kHandle;
        request.path = "/x/frame0001";
        request.offerLimit = kPatient;
        request.stallLimit = kPatient;
        return request;
    }
    static FakeCamera::Event offer(int32_t item) { return {1, {kHandle, 0x208, item}}; }

    std::atomic<int> heard_{0};
    FakeCamera camera_;
    tarvo::CallbackStream events_;
    tarvo::CallConnection connection_;
    tarvo::CanonClient client_{connection_};
    std::unique_ptr<tarvo::ShotTaker> taker_;
    std::vector<tarvo::ShotTaker::Download> downloads_;
    int32_t thumbnailItem_ = 0;
};

TEST_F(ShotTakerTest, StoresTheOneFileOfAJpegShot) {
    camera_.onCapture = {{2, {kHandle, 0x101, 0x406, 0}}, offer(-50)};
    const auto outcome = take(request());
    EXPECT_TRUE(outcome.isComplete()) << outcome.error.text;
    EXPECT_EQ(outcome.expectedFiles, 1);
    EXPECT_EQ(camera_.log(),
              (std::vector<std::string>{"prepare /x/frame0001", "capture /x/frame0001", "download -50"}));
    EXPECT_EQ(camera_.captureDeadline(), 0);
}

TEST_F(ShotTakerTest, StoresBothFilesOfAPair) {
    camera_.quality = 0x00640013;
    camera_.onCapture = {offer(50), offer(51)};
    const auto outcome = take(request());
    EXPECT_TRUE(outcome.isComplete()) << outcome.error.text;
    EXPECT_EQ(outcome.expectedFiles, 2);
    EXPECT_EQ(outcome.storedFiles, 2);
}

TEST_F(ShotTakerTest, DoesNotCountAThumbnailThatIsAnsweredButNotStored) {
    camera_.onCapture = {offer(50), offer(51)};
    thumbnailItem_ = 50;
    const auto outcome = take(request());
    EXPECT_TRUE(outcome.isComplete()) << outcome.error.text;
    EXPECT_EQ(outcome.storedFiles, 1);
    EXPECT_EQ(downloads_.size(), 2U);
}

TEST_F(ShotTakerTest, DownloadsTheSecondFileWhenTheFirstFails) {
    camera_.quality = 0x00640013;
    camera_.onCapture = {offer(50), offer(51)};
    camera_.downloadStatus[50] = 0x2A;
    const auto outcome = take(request());
    EXPECT_FALSE(outcome.isComplete());
    EXPECT_FALSE(outcome.error) << outcome.error.text;
    EXPECT_EQ(outcome.failedFiles, 1);
    EXPECT_EQ(outcome.storedFiles, 1);
    EXPECT_FALSE(outcome.hasCaptureError) << "the failed download's own announcement is not the camera's";
}

TEST_F(ShotTakerTest, TellsAFailedDownloadsAnnouncementFromTheCamerasOwnError) {
    camera_.onCapture = {offer(50)};
    camera_.downloadStatus[50] = 0x2A;
    connect();
    EXPECT_EQ(taker_->take(request()).failedFiles, 1);
    camera_.onCapture = {{3, {kHandle, 0x305, 36}}};
    const auto second = taker_->take(request());
    EXPECT_TRUE(second.hasCaptureError);
    EXPECT_FALSE(second.isComplete());
}

TEST_F(ShotTakerTest, StopsWaitingWhenTheCameraIsGone) {
    camera_.onCapture = {{3, {kHandle, 0x301, 0}}};
    const auto outcome = take(request());
    EXPECT_TRUE(outcome.isCameraGone);
    EXPECT_FALSE(outcome.isComplete());
    EXPECT_FALSE(outcome.error) << outcome.error.text;
}

TEST_F(ShotTakerTest, PaysNoHeedToOtherCameras) {
    camera_.onCapture = {{3, {77, 0x301, 0}}, {1, {77, 0x208, 60}}, {3, {77, 0x305, 0}}, offer(50)};
    EXPECT_TRUE(take(request()).isComplete());
    EXPECT_EQ(camera_.log().back(), "download 50");
}

TEST_F(ShotTakerTest, SaysHowManyFilesCameWhenOneStaysAway) {
    camera_.quality = 0x00640013;
    camera_.onCapture = {offer(50)};
    auto shot = request();
    shot.offerLimit = 50ms;
    const auto outcome = take(shot);
    EXPECT_EQ(outcome.error.failure, Failure::timeout);
    EXPECT_NE(outcome.error.text.find("1 of 2 files"), std::string::npos) << outcome.error.text;
}

TEST_F(ShotTakerTest, StopsWhereTheCameraRefuses) {
    connect();
    camera_.prepareStatus = 130;
    EXPECT_EQ(taker_->take(request()).prepareStatus, 130);
    camera_.prepareStatus = 0;
    camera_.captureStatus = -1;
    EXPECT_EQ(taker_->take(request()).captureStatus, -1);
    EXPECT_EQ(camera_.log().back(), "capture /x/frame0001");
}

TEST_F(ShotTakerTest, HandsTheDeadlineOnWhenItIsNear) {
    camera_.onCapture = {offer(50)};
    auto shot = request();
    shot.deadline = tarvo::wallClockMicroseconds() + 2'200'000;
    EXPECT_TRUE(take(shot).isComplete());
    EXPECT_EQ(camera_.captureDeadline(), shot.deadline);
}

TEST_F(ShotTakerTest, StoresWhatThePhotographerPressedAsExtra) {
    connect();
    camera_.send(offer(40));
    camera_.send({1, {kHandle, 0x208, 0}});  // an offer of nothing
    camera_.send(offer(41));
    camera_.send({4, {kHandle, 0}});
    // The listener hears of an event before it is queued: the fourth one tells that the third is.
    while (heard_ < 4)
        std::this_thread::yield();
    camera_.onCapture = {offer(50)};
    EXPECT_TRUE(taker_->take(request()).isComplete());
    ASSERT_EQ(downloads_.size(), 3U);
    EXPECT_TRUE(downloads_[0].isExtra);
    EXPECT_EQ(downloads_[0].item, 40);
    EXPECT_TRUE(downloads_[1].isExtra);
    EXPECT_EQ(downloads_[1].item, 41);
    EXPECT_FALSE(downloads_[2].isExtra);
    EXPECT_EQ(downloads_[2].item, 50);
    EXPECT_EQ(camera_.log().front(), "prepare /x/frame0001") << "nothing is stored before it has a name";
}

TEST_F(ShotTakerTest, EndsWithTheConnection) {
    auto helper = std::make_unique<fake::FakeHelper>([](fake::Peer& peer) {
        if (peer.read(1) == Bytes{8}) peer.waitForClose();
    });
    tarvo::CallbackStream events;
    tarvo::CallConnection connection;
    ASSERT_FALSE(events.open(helper->port(), kPatient));
    ASSERT_FALSE(connection.open(helper->port(), kPatient));
    tarvo::CanonClient client(connection);
    client.setLimit(kPatient);
    tarvo::ShotTaker taker(client, events, [](const auto&) { return true; });
    EXPECT_EQ(taker.take(request()).error.failure, Failure::connectionLost);
}

TEST_F(ShotTakerTest, IsInterruptedWhileItWaits) {
    const tarvo::Descriptor interrupt{::eventfd(1, EFD_CLOEXEC)};
    connect();
    taker_->setInterrupt(interrupt.get());
    auto shot = request();
    shot.deadline = tarvo::wallClockMicroseconds() + 3'600'000'000;
    EXPECT_EQ(taker_->take(shot).error.failure, Failure::interrupted);
}

}  // namespace
