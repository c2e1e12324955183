#include <gtest/gtest.h>

#include <array>
#include <cstring>

#include "TestEvents.h"

namespace {

constexpr OSType kName = fourCC("name");
constexpr OSType kType = fourCC("type");

TEST(Event, keeps_class_kind_and_time) {
    EventRef event = nullptr;
    ASSERT_EQ(noErr, CreateEvent(nullptr, 0x1251976, 0x1251976, 12.5, 0, &event));
    const OwnedEvent owned(event);
    EXPECT_EQ(0x1251976U, GetEventClass(event));
    EXPECT_EQ(0x1251976U, GetEventKind(event));
    EXPECT_EQ(12.5, GetEventTime(event));
}

TEST(Event, made_without_a_time_gets_the_present_one) {
    const OwnedEvent first = makeEvent(1);
    const OwnedEvent second = makeEvent(1);
    EXPECT_GT(GetEventTime(first.get()), 0);
    EXPECT_GE(GetEventTime(second.get()), GetEventTime(first.get()));
}

TEST(Event, needs_somewhere_to_go) {
    EXPECT_EQ(paramErr, CreateEvent(nullptr, kTestClass, 1, 0, 0, nullptr));
}

TEST(Event, cannot_come_from_another_allocator) {
    EventRef event = nullptr;
    int allocator = 0;
    EXPECT_EQ(paramErr, CreateEvent(&allocator, kTestClass, 1, 0, 0, &event));
    EXPECT_EQ(nullptr, event);
}

TEST(Event, lives_until_its_last_release) {
    EventRef event = makeEvent(7).release();
    EXPECT_EQ(event, RetainEvent(event));
    ReleaseEvent(event);
    EXPECT_EQ(7U, GetEventKind(event));
    ReleaseEvent(event);
}

TEST(Event, that_is_null_is_harmless) {
    EXPECT_EQ(nullptr, RetainEvent(nullptr));
    ReleaseEvent(nullptr);
    EXPECT_EQ(0U, GetEventClass(nullptr));
    EXPECT_EQ(0U, GetEventKind(nullptr));
    EXPECT_EQ(paramErr, SetEventParameter(nullptr, kName, kType, 0, nullptr));
    EXPECT_EQ(paramErr, GetEventParameter(nullptr, kName, kType, nullptr, 0, nullptr, nullptr));
}

class EventParameter : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(noErr, SetEventParameter(event_.get(), kName, kType, sizeof(kText), kText));
    }
    static constexpr char kText[] = "fourteen bytes";
    OwnedEvent event_ = makeEvent(1);
    std::array<char, 32> buffer_{};
};

TEST_F(EventParameter, comes_out_as_it_went_in) {
    OSType type = 0;
    size_t size = 0;
    ASSERT_EQ(noErr,
              GetEventParameter(event_.get(), kName, kType, &type, buffer_.size(), &size, buffer_.data()));
    EXPECT_EQ(kType, type);
    EXPECT_EQ(sizeof(kText), size);
    EXPECT_STREQ(kText, buffer_.data());
}

TEST_F(EventParameter, is_found_by_any_type_when_asked_so) {
    OSType type = 0;
    EXPECT_EQ(noErr, GetEventParameter(event_.get(), kName, typeWildCard, &type, buffer_.size(), nullptr,
                                       buffer_.data()));
    EXPECT_EQ(kType, type);
    EXPECT_STREQ(kText, buffer_.data());
}

TEST_F(EventParameter, of_another_name_or_type_is_not_found) {
    EXPECT_EQ(eventParameterNotFoundErr, GetEventParameter(event_.get(), fourCC("none"), kType, nullptr,
                                                           buffer_.size(), nullptr, buffer_.data()));
    EXPECT_EQ(eventParameterNotFoundErr, GetEventParameter(event_.get(), kName, fourCC("none"), nullptr,
                                                           buffer_.size(), nullptr, buffer_.data()));
    EXPECT_EQ('\0', buffer_[0]);
}

TEST_F(EventParameter, larger_than_the_buffer_leaves_it_alone_and_tells_its_size) {
    size_t size = 0;
    EXPECT_EQ(eventParameterSizeErr, GetEventParameter(event_.get(), kName, kType, nullptr, sizeof(kText) - 1,
                                                       &size, buffer_.data()));
    EXPECT_EQ(sizeof(kText), size);
    EXPECT_EQ('\0', buffer_[0]);
}

TEST_F(EventParameter, tells_its_size_without_a_buffer) {
    size_t size = 0;
    EXPECT_EQ(noErr, GetEventParameter(event_.get(), kName, kType, nullptr, 0, &size, nullptr));
    EXPECT_EQ(sizeof(kText), size);
}

TEST_F(EventParameter, is_replaced_by_a_later_one_of_its_name) {
    const int number = 42;
    ASSERT_EQ(noErr, SetEventParameter(event_.get(), kName, fourCC("long"), sizeof(number), &number));
    EXPECT_EQ(eventParameterNotFoundErr, GetEventParameter(event_.get(), kName, kType, nullptr,
                                                           buffer_.size(), nullptr, buffer_.data()));
    int read = 0;
    EXPECT_EQ(noErr,
              GetEventParameter(event_.get(), kName, fourCC("long"), nullptr, sizeof(read), nullptr, &read));
    EXPECT_EQ(number, read);
}

TEST_F(EventParameter, may_be_empty) {
    size_t size = 1;
    ASSERT_EQ(noErr, SetEventParameter(event_.get(), kName, kType, 0, nullptr));
    EXPECT_EQ(noErr, GetEventParameter(event_.get(), kName, kType, nullptr, 0, &size, buffer_.data()));
    EXPECT_EQ(0U, size);
}

TEST_F(EventParameter, with_a_size_needs_data) {
    EXPECT_EQ(paramErr, SetEventParameter(event_.get(), kName, kType, 4, nullptr));
}

TEST_F(EventParameter, is_a_copy_of_its_own) {
    std::array<char, 4> source{"abc"};
    ASSERT_EQ(noErr, SetEventParameter(event_.get(), kName, kType, source.size(), source.data()));
    source[0] = 'X';
    ASSERT_EQ(noErr, GetEventParameter(event_.get(), kName, kType, nullptr, buffer_.size(), nullptr,
                                       buffer_.data()));
    EXPECT_STREQ("abc", buffer_.data());
}

TEST(FourCharacterCode, has_its_first_character_on_top) {
    static_assert(fourCC("cmds") == 0x636D6473);
    static_assert(fourCC("\xFF\xFE\xFD\xFC") == 0xFFFEFDFC);
    SUCCEED();
}

}  // namespace
