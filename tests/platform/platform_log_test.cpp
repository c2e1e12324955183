#include "platform/PlatformLog.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cctype>
#include <string>

namespace {

std::string logged(const char* text) {
    testing::internal::CaptureStderr();
    NSLog("%s", text);
    return testing::internal::GetCapturedStderr();
}

TEST(PlatformLog, starts_each_line_with_date_and_time_and_the_process) {
    const std::string text = logged("Something happened");
    std::string shape = text;
    for (char& character : shape) {
        if (std::isdigit(static_cast<unsigned char>(character)) != 0) character = '9';
    }
    EXPECT_TRUE(shape.starts_with("9999-99-99 99:99:99.999 test_platform[9")) << text;
    EXPECT_TRUE(text.ends_with("[" + std::to_string(getpid()) + "] Something happened\n")) << text;
}

TEST(PlatformLog, ends_each_text_with_one_line_end_and_keeps_it_on_one_line) {
    EXPECT_TRUE(logged("ended already\n").ends_with("] ended already\n"));
    EXPECT_TRUE(logged("two\nlines\n").ends_with("] two lines\n"));
    EXPECT_TRUE(logged("").ends_with("] \n"));
}

TEST(PlatformLog, writes_texts_of_any_length_whole) {
    const std::string text(100000, 'x');
    EXPECT_TRUE(logged(text.c_str()).ends_with("] " + text + "\n"));
}

}  // namespace
