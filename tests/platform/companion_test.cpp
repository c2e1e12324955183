#include "platform/Companion.h"

#include <fcntl.h>
#include <glib.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

namespace {

constexpr double kLong = 60;
constexpr double kShort = 0.05;

class CompanionTest : public testing::Test {
protected:
    Companion& start(const std::string& program = TARVO_TEST_COMPANION) {
        companion_ = std::make_unique<Companion>(
            program, Companion::Listener{[this](MessageReader& message) { return hear(message); },
                                         [this] { ++ends_; }});
        return *companion_;
    }
    bool tell(const std::string& word, const std::string& about = "") {
        MessageWriter message(1);
        message(word, about);
        return companion_->send(message);
    }
    std::string ask(const std::string& word, const std::string& about = "") {
        answer_.reset();
        EXPECT_TRUE(tell(word, about));
        companion_->serveUntil([this] { return answer_.has_value(); }, kLong);
        return answer_.value_or("no answer");
    }
    /** Until it has ended; what was logged. */
    std::string awaitEnd() {
        testing::internal::CaptureStderr();
        companion_->serveUntil([this] { return ends_ > 0; }, kLong);
        return testing::internal::GetCapturedStderr();
    }
    void expectNoChildIsLeft() {
        EXPECT_EQ(-1, waitpid(-1, nullptr, WNOHANG));
        EXPECT_EQ(ECHILD, errno);
    }

    std::unique_ptr<Companion> companion_;
    std::optional<std::string> answer_;
    int ends_ = 0;

private:
    bool hear(MessageReader& message) {
        uint32_t kind = 0;
        std::string text;
        if (!message.readKind(kind) || kind != 2 || !message(text) || !message.isAtEnd()) return false;
        answer_ = text;
        return true;
    }
};

/** Whether a process still does anything; one that nobody has reaped yet does not. */
bool isAlive(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string stat;
    std::getline(file, stat);
    const size_t end = stat.rfind(") ");
    return end != std::string::npos && stat[end + 2] != 'Z' && stat[end + 2] != 'X';
}

TEST_F(CompanionTest, answers_messages) {
    start();
    EXPECT_EQ("hello", ask("echo", "hello"));
    const std::string longest(MessageSocket::kLongestMessage - 100, 'y');
    EXPECT_EQ(longest, ask("echo", longest));
    EXPECT_TRUE(companion_->isRunning());
    EXPECT_EQ(0, ends_);
}

TEST_F(CompanionTest, is_told_the_name_of_the_program_that_started_it) {
    start();
    EXPECT_EQ(program_invocation_short_name, ask("name"));
}

TEST_F(CompanionTest, inherits_nothing_that_is_open_but_its_connection) {
    const int inheritable = open("/dev/null", O_RDONLY);  // not close-on-exec
    const int high = fcntl(inheritable, F_DUPFD, 200);
    start();
    EXPECT_EQ("0 1 2 3 ", ask("descriptors"));
    close(inheritable);
    close(high);
}

TEST_F(CompanionTest, finds_signals_as_a_program_expects_them) {
    const auto usual = std::signal(SIGXFSZ, SIG_IGN);
    start();
    EXPECT_EQ("", ask("ignored"));
    std::signal(SIGXFSZ, usual);
}

TEST_F(CompanionTest, that_ends_by_itself_is_noticed_logged_and_reaped) {
    start();
    tell("end", "3");
    EXPECT_EQ("companion_program: ended with status 3\n", awaitEnd());
    EXPECT_FALSE(companion_->isRunning());
    EXPECT_EQ(1, ends_);
    expectNoChildIsLeft();
    EXPECT_FALSE(tell("echo", "anybody there?"));
    EXPECT_EQ(1, ends_);
}

TEST_F(CompanionTest, that_is_killed_is_noticed_and_logged) {
    start();
    tell("raise", std::to_string(SIGKILL));
    EXPECT_EQ("companion_program: was ended by signal 9 (Killed)\n", awaitEnd());
    expectNoChildIsLeft();
}

TEST_F(CompanionTest, that_ends_is_noticed_by_the_next_message_at_the_latest) {
    start();
    const pid_t process = std::stoi(ask("process"));
    ASSERT_GT(process, 1);
    kill(process, SIGKILL);
    while (isAlive(process))
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    testing::internal::CaptureStderr();
    EXPECT_FALSE(tell("echo"));
    EXPECT_EQ("companion_program: was ended by signal 9 (Killed)\n", testing::internal::GetCapturedStderr());
    EXPECT_EQ(1, ends_);
}

TEST_F(CompanionTest, that_closes_its_connection_is_ended) {
    start();
    const pid_t process = std::stoi(ask("process"));
    tell("close");
    EXPECT_EQ("companion_program: closed its connection\n", awaitEnd());
    EXPECT_FALSE(isAlive(process));
    expectNoChildIsLeft();
}

TEST_F(CompanionTest, that_makes_no_sense_is_ended) {
    for (const char* size : {"1", "4", "9", "65537"}) {
        ends_ = 0;
        start();
        const pid_t process = std::stoi(ask("process"));
        tell("send", size);
        const std::string log = awaitEnd();
        EXPECT_TRUE(log.starts_with("companion_program: ")) << log;
        EXPECT_FALSE(isAlive(process));
        EXPECT_EQ(1, ends_);
        expectNoChildIsLeft();
    }
}

TEST_F(CompanionTest, that_takes_too_long_is_ended) {
    start();
    const pid_t process = std::stoi(ask("process"));
    tell("hang");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(companion_->serveUntil([] { return false; }, kShort));
    EXPECT_EQ("companion_program: has not answered in time\n", testing::internal::GetCapturedStderr());
    EXPECT_FALSE(companion_->isRunning());
    EXPECT_FALSE(isAlive(process));
    expectNoChildIsLeft();
}

TEST_F(CompanionTest, that_reads_nothing_holds_nobody_up) {
    start();
    tell("hang");
    testing::internal::CaptureStderr();
    const std::string text(1000, 'z');
    int sent = 0;
    while (sent < 1'000'000 && tell("echo", text))
        ++sent;
    EXPECT_EQ("companion_program: could not be told: Resource temporarily unavailable\n",
              testing::internal::GetCapturedStderr());
    EXPECT_FALSE(companion_->isRunning());
}

TEST_F(CompanionTest, is_not_told_what_is_too_long) {
    start();
    testing::internal::CaptureStderr();
    EXPECT_FALSE(tell("echo", std::string(MessageSocket::kLongestMessage, 'y')));
    EXPECT_EQ("companion_program: could not be told: Message too long\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(CompanionTest, that_cannot_be_started_is_not_running) {
    for (const std::string program : {"/nowhere/at_all", "/etc/passwd", "/"}) {
        testing::internal::CaptureStderr();
        start(program);
        const std::string log = testing::internal::GetCapturedStderr();
        EXPECT_NE(std::string::npos, log.find(": could not be started: ")) << log;
        EXPECT_FALSE(companion_->isRunning());
        EXPECT_FALSE(tell("echo"));
        EXPECT_FALSE(companion_->serveUntil([] { return false; }, kLong));
    }
    expectNoChildIsLeft();
}

TEST_F(CompanionTest, that_is_another_program_is_noticed) {
    start("/bin/true");
    EXPECT_EQ("true: ended with status 0\n", awaitEnd());
}

TEST_F(CompanionTest, goes_with_its_object) {
    start();
    const pid_t process = std::stoi(ask("process"));
    companion_.reset();
    EXPECT_FALSE(isAlive(process));
    EXPECT_EQ(0, ends_) << "it was we who ended it";
    expectNoChildIsLeft();
}

TEST_F(CompanionTest, ends_also_where_the_ends_of_children_are_ignored) {
    const auto usual = std::signal(SIGCHLD, SIG_IGN);
    start();
    tell("end", "3");
    awaitEnd();
    EXPECT_EQ(1, ends_);
    start();
    const pid_t process = std::stoi(ask("process"));
    companion_.reset();
    EXPECT_FALSE(isAlive(process));
    std::signal(SIGCHLD, usual);
}

TEST_F(CompanionTest, leaves_no_descriptor_behind) {
    const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(before);
    for (int i = 0; i < 5; ++i) {
        start();
        ask("echo");
    }
    companion_.reset();
    const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(after);
    // GLib opens one for the loop when it is first used.
    EXPECT_LE(after, before + 1);
}

TEST_F(CompanionTest, lets_the_threads_other_work_go_on) {
    start();
    int calls = 0;
    const guint source = g_timeout_add(
        1, [](gpointer count) -> gboolean { return ++*static_cast<int*>(count) < 3; }, &calls);
    EXPECT_TRUE(companion_->serveUntil([&calls] { return calls >= 3; }, kLong));
    static_cast<void>(source);
    EXPECT_EQ("still there", ask("echo", "still there"));
}

TEST_F(CompanionTest, dies_with_its_starter_however_that_ends) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(0, pipe2(pipe.data(), O_CLOEXEC));
    const pid_t starter = fork();
    if (starter == 0) {
        start();
        const pid_t process = std::stoi(ask("process"));
        tell("hang");  // it will not look at its connection again
        if (write(pipe[1], &process, sizeof process) < 0) _exit(EXIT_FAILURE);
        raise(SIGKILL);
    }
    ASSERT_GT(starter, 0);
    close(pipe[1]);
    pid_t process = 0;
    EXPECT_EQ(static_cast<ssize_t>(sizeof process), read(pipe[0], &process, sizeof process));
    close(pipe[0]);
    waitpid(starter, nullptr, 0);
    ASSERT_GT(process, 0);
    bool isGone = false;
    for (int tries = 0; tries < 60'000 && !isGone; ++tries) {
        isGone = !isAlive(process);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(isGone);
}

TEST(CompanionProgram, finds_no_starter_when_it_was_started_by_hand) {
    EXPECT_EQ(0, std::system(TARVO_TEST_COMPANION " 3>&- < /dev/null"));
}

TEST(Messages, come_out_as_they_went_in) {
    MessageWriter writer(7);
    writer(uint32_t{1}, int32_t{-5699}, uint64_t{1} << 60, 2.5, true, false, std::string("t\0xt", 4),
           std::vector<uint8_t>{1, 2, 3});
    MessageReader reader(writer.bytes());
    uint32_t kind = 0;
    uint32_t number = 0;
    int32_t status = 0;
    uint64_t large = 0;
    double real = 0;
    bool yes = false;
    bool no = true;
    std::string text;
    std::vector<uint8_t> data;
    ASSERT_TRUE(reader.readKind(kind));
    ASSERT_TRUE(reader(number, status, large, real, yes, no, text, data));
    EXPECT_TRUE(reader.isAtEnd());
    EXPECT_EQ(7u, kind);
    EXPECT_EQ(1u, number);
    EXPECT_EQ(-5699, status);
    EXPECT_EQ(uint64_t{1} << 60, large);
    EXPECT_EQ(2.5, real);
    EXPECT_TRUE(yes);
    EXPECT_FALSE(no);
    EXPECT_EQ(std::string("t\0xt", 4), text);
    EXPECT_EQ((std::vector<uint8_t>{1, 2, 3}), data);
}

TEST(Messages, that_are_cut_off_are_seen_as_such) {
    MessageWriter writer(7);
    writer(std::string("text"), true, 2.5);
    for (size_t size = 0; size < writer.bytes().size(); ++size) {
        MessageReader reader(writer.bytes().first(size));
        uint32_t kind = 0;
        std::string text;
        bool flag = false;
        double real = 0;
        EXPECT_FALSE(reader.readKind(kind) && reader(text, flag, real)) << size;
    }
}

TEST(Messages, with_lengths_and_flags_that_cannot_be_are_refused) {
    MessageWriter writer(0xFFFFFFFF);
    std::string text;
    EXPECT_FALSE(MessageReader(writer.bytes())(text));
    const std::array<uint8_t, 1> two{2};
    bool flag = false;
    EXPECT_FALSE(MessageReader(two)(flag));
}

}  // namespace
