#include "platform/PlatformLog.h"

#include <gtest/gtest.h>
#include <syslog.h>
#include <unistd.h>

#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace {

std::mutex journalMutex;  // other tests of this program log from threads
/** What has reached the system's log: priorities and texts. */
std::vector<std::pair<int, std::string>> journal;

void note(int priority, const char* format, va_list arguments) {
    char text[1000];
    std::vsnprintf(text, sizeof text, format, arguments);
    const std::lock_guard lock(journalMutex);
    journal.emplace_back(priority, text);
}

}  // namespace

#define EXPORTED __attribute__((visibility("default")))

// In the place of the system's, for the whole program: machines that tests run on mostly have no journal.
extern "C" EXPORTED void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    note(priority, format, arguments);
    va_end(arguments);
}
// What the compiler calls in its place where it checks formats at run time.
extern "C" EXPORTED void __syslog_chk(int priority, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    note(priority, format, arguments);
    va_end(arguments);
}

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

TEST(PlatformLog, goes_to_the_system_s_journal_too) {
    journal.clear();
    logged("Control request failed: 100%\n");
    ASSERT_EQ(journal.size(), 1u);
    EXPECT_EQ(journal[0].first, LOG_USER | LOG_NOTICE);
    EXPECT_EQ(journal[0].second, "Control request failed: 100%") << "which adds time and process by itself";
}

TEST(PlatformLog, writes_texts_of_any_length_whole) {
    const std::string text(100000, 'x');
    EXPECT_TRUE(logged(text.c_str()).ends_with("] " + text + "\n"));
}

}  // namespace
