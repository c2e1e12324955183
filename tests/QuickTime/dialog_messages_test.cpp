// What the toolbox and the program with its dialog say to each other.
#include "frameworks/QuickTime/gtk/DialogMessages.h"

#include <gtest/gtest.h>

namespace {

using atoms::ExportChoice;
using movies::DialogWord;
using movies::ExportDialogRequest;
using movies::readAccepted;
using movies::writeAccepted;

ExportDialogRequest usualRequest() {
    ExportDialogRequest request;
    request.movie = {.name = "film \xFF.mov",  // no UTF-8, but a file may be called so
                     .fileBytes = uint64_t{1} << 40,
                     .seconds = 12.25,
                     .hasVideo = true,
                     .videoCodec = "H.264",
                     .width = 1920,
                     .height = 1080,
                     .frameRate = 24000 / 1001.0,
                     .hasSound = true,
                     .soundCodec = "AAC",
                     .sampleRate = 48000,
                     .channels = 2,
                     .trackCount = 3};
    request.seconds = 11.5;
    request.formats.video = {{atoms::kH264, "H.264", true, true, true, true, 0.01, 0.9},
                             {atoms::kPng, "PNG", false, false, false, false, 12, 12}};
    request.formats.sound = {{atoms::kAac, "AAC", true, 0}};
    request.choice.keyFrameInterval = 48;
    request.choice.hasSound = false;
    return request;
}

bool readWord(MessageReader& message, DialogWord word) {
    uint32_t number = 0;
    return message.readKind(number) && number == static_cast<uint32_t>(word);
}

bool readRequest(std::span<const uint8_t> bytes, ExportDialogRequest& out) {
    MessageReader message(bytes);
    return readWord(message, DialogWord::request) && read(message, out);
}

TEST(DialogMessages, carry_a_request) {
    const ExportDialogRequest sent = usualRequest();
    ExportDialogRequest received;
    {
        const MessageWriter message = write(sent);
        ASSERT_TRUE(readRequest(message.bytes(), received));
    }
    EXPECT_EQ(sent.movie.name, received.movie.name);
    EXPECT_EQ(sent.movie.fileBytes, received.movie.fileBytes);
    EXPECT_EQ(sent.movie.seconds, received.movie.seconds);
    EXPECT_EQ(sent.movie.hasVideo, received.movie.hasVideo);
    EXPECT_EQ(sent.movie.videoCodec, received.movie.videoCodec);
    EXPECT_EQ(sent.movie.width, received.movie.width);
    EXPECT_EQ(sent.movie.height, received.movie.height);
    EXPECT_EQ(sent.movie.frameRate, received.movie.frameRate);
    EXPECT_EQ(sent.movie.hasSound, received.movie.hasSound);
    EXPECT_EQ(sent.movie.soundCodec, received.movie.soundCodec);
    EXPECT_EQ(sent.movie.sampleRate, received.movie.sampleRate);
    EXPECT_EQ(sent.movie.channels, received.movie.channels);
    EXPECT_EQ(sent.movie.trackCount, received.movie.trackCount);
    EXPECT_EQ(sent.seconds, received.seconds);
    EXPECT_EQ(sent.choice, received.choice);
    ASSERT_EQ(2u, received.formats.video.size());
    EXPECT_STREQ("PNG", received.formats.video[1].name);
    const movies::VideoFormat& video = received.formats.video[0];
    EXPECT_EQ(atoms::kH264, video.codec);
    EXPECT_TRUE(video.hasQuality && video.hasDataRate && video.hasKeyFrames && video.needsEvenSides);
    EXPECT_EQ(0.01, video.leastBits);
    EXPECT_EQ(0.9, video.bestBits);
    ASSERT_EQ(1u, received.formats.sound.size());
    EXPECT_STREQ("AAC", received.formats.sound[0].name);
    EXPECT_EQ(atoms::kAac, received.formats.sound[0].codec);
    EXPECT_TRUE(received.formats.sound[0].hasDataRate);
    EXPECT_EQ(0, received.formats.sound[0].sampleBits);
}

TEST(DialogMessages, carry_a_request_that_is_empty) {
    const MessageWriter message = write(ExportDialogRequest{});
    ExportDialogRequest received;
    EXPECT_TRUE(readRequest(message.bytes(), received));
    EXPECT_TRUE(received.formats.video.empty() && received.formats.sound.empty());
}

TEST(DialogMessages, that_are_cut_off_or_longer_are_refused) {
    const MessageWriter request = write(usualRequest());
    ExportDialogRequest received;
    for (size_t size = 0; size < request.bytes().size(); ++size)
        EXPECT_FALSE(readRequest(request.bytes().first(size), received)) << size;
    MessageWriter longer = write(usualRequest());
    longer(uint32_t{0});
    EXPECT_FALSE(readRequest(longer.bytes(), received));
}

TEST(DialogMessages, carry_a_choice) {
    ExportChoice sent;
    sent.dataRate = 123'000;
    sent.frameRate = 23.5;
    sent.width = 1000;
    sent.height = 500;
    const MessageWriter accepted = writeAccepted(sent);
    MessageReader message(accepted.bytes());
    ExportChoice received;
    ASSERT_TRUE(readWord(message, DialogWord::accepted));
    EXPECT_TRUE(readAccepted(message, received));
    EXPECT_EQ(sent, received);
}

TEST(DialogMessages, leave_the_choice_alone_when_what_comes_is_none) {
    ExportChoice choice;
    choice.quality = 77;
    const ExportChoice before = choice;
    const MessageWriter accepted = writeAccepted(ExportChoice{});
    for (size_t size = 4; size < accepted.bytes().size(); ++size) {
        MessageReader message(accepted.bytes().first(size).subspan(4));
        EXPECT_FALSE(readAccepted(message, choice)) << size;
    }
    MessageWriter noise(static_cast<uint32_t>(DialogWord::accepted));
    noise(std::vector<uint8_t>(200, 0xAA));
    MessageReader message(noise.bytes().subspan(4));
    EXPECT_FALSE(readAccepted(message, choice));
    EXPECT_EQ(before, choice);
}

}  // namespace
