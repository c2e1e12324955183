#include "tests/docs/DumpPlayer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>

namespace docs {

namespace {

using e2e::Bytes;

// A callback message: module, marker, kind, then ints by kind (the kind's number is the index).
constexpr size_t kEventHead = 6;
constexpr std::array<size_t, 5> kEventInts = {0, 3, 4, 3, 2};
constexpr size_t kEventIntsOfOthers = 1;  // Nikon and video tell no handle
constexpr uint8_t kCanonModule = 10;

// Strings: the folder of the simulated Nikon modules, the path of a movie.
constexpr std::string_view kModules = "{modules}";
constexpr std::string_view kFilm = "{film}";

// What a block's first line says beside the name of its scenario.
constexpr std::array<std::string_view, 3> kBlockWords = {"new", "shutdown", "closes"};

bool isName(const std::string& token) {
    return token.starts_with('{') && !token.starts_with("{now") && token != kModules && token != kFilm;
}
bool isRun(const std::string& token) {
    return token.starts_with('[');
}
std::string inner(const std::string& token) {
    return token.substr(1, token.size() - 2);
}

bool isHexPair(const std::string& token) {
    return token.size() == 2 && token.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/** What stands before a comment. */
std::string codeOf(const std::string& line) {
    if (line.starts_with('#')) return {};
    return line.substr(0, line.find(" #"));
}

/** "{now+400ms}": microseconds of the wall clock. */
int64_t momentOf(const std::string& token) {
    const int64_t ahead = std::atoll(token.c_str() + std::string_view("{now+").size());
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count() + ahead * 1000;
}

Bytes receiveEvent(e2e::RawClient& socket) {
    Bytes message = socket.receive(kEventHead);
    if (message.size() < kEventHead) return message;
    const size_t kind = message.back();
    if (kind == 0 || kind >= kEventInts.size()) {
        ADD_FAILURE() << "no kind of event: " << kind;
        return {};
    }
    const size_t count = message.front() == kCanonModule ? kEventInts.at(kind) : kEventIntsOfOthers;
    const Bytes ints = socket.receive(count * sizeof(int32_t));
    message.insert(message.end(), ints.begin(), ints.end());
    return message;
}

std::string scenarioName(const Block& block) {
    for (const std::string& word : block.info) {
        if (std::find(kBlockWords.begin(), kBlockWords.end(), word) == kBlockWords.end()) return word;
    }
    return {};
}

bool isScenario(const Block& block, const std::string& name) {
    return block.language == "json" && block.has("scenario") &&
           (name.empty() ? block.info.size() == 1 : block.has(name));
}

}  // namespace

DumpPlayer::DumpPlayer(const std::string& page)
    : blocks_(blocksOf(page)), home_(std::filesystem::current_path()) {}

DumpPlayer::~DumpPlayer() {
    std::error_code ignored;
    std::filesystem::current_path(home_, ignored);
}

void DumpPlayer::play(const Block& block) {
    if (block.has("new") || block.has("shutdown")) startHelper(block);
    ASSERT_NE(helper_, nullptr) << "the first block of a dialogue is one of \"bytes new\"";
    for (size_t i = 0; i < block.lines.size(); ++i) {
        SCOPED_TRACE("line " + std::to_string(block.firstLine + i) + ": " + block.lines[i]);
        playLine(codeOf(block.lines[i]));
        if (testing::Test::HasFatalFailure() || testing::Test::HasNonfatalFailure()) return;
    }
    if (block.has("shutdown")) {
        EXPECT_EQ(helper_->waitForExit(), 0);
    } else if (block.has("closes")) {
        calls().expectClosed();
        calls().close();
    } else {
        calls().expectSilence();
    }
}

void DumpPlayer::startHelper(const Block& block) {
    calls_.close();
    events_.close();
    lab_.reset();
    helper_.reset();
    names_.clear();
    e2e::HelperOptions options;
    const std::string name = scenarioName(block);
    const auto scenario = std::find_if(blocks_.begin(), blocks_.end(),
                                       [&](const Block& other) { return isScenario(other, name); });
    ASSERT_NE(scenario, blocks_.end()) << "no scenario " << name;
    options.scenario = e2e::Json::parse(scenario->text());
    // Paths in dumps are relative, to keep them short.
    std::filesystem::current_path(folder_.path());
    helper_ = std::make_unique<e2e::HelperProcess>(options);
}

e2e::RawClient& DumpPlayer::calls() {
    if (!calls_.isOpen()) calls_.connect(helper_->port());
    return calls_;
}

e2e::RawClient& DumpPlayer::events() {
    if (!events_.isOpen()) events_.connect(helper_->port());
    return events_;
}

void DumpPlayer::playLine(const std::string& line) {
    std::vector<std::string> tokens = wordsOf(line);
    if (tokens.empty()) return;
    const std::string prefix = tokens.front();
    tokens.erase(tokens.begin());
    if (prefix == ">") {
        send(calls(), tokens);
    } else if (prefix == "<") {
        expectReply(tokens);
    } else if (prefix == "E>") {
        send(events(), tokens);
        helper_->waitForErr("setCallbackSocket(");
    } else if (prefix == "E<") {
        expectEvent(tokens);
    } else if (prefix == "lab") {
        if (lab_ == nullptr) lab_ = std::make_unique<e2e::LabClient>(helper_->labSocket());
        lab_->must(e2e::Json::parse(line.substr(line.find('{'))));
    } else {
        ADD_FAILURE() << "a line begins with >, <, E>, E< or lab";
    }
}

void DumpPlayer::send(e2e::RawClient& socket, const std::vector<std::string>& tokens) {
    e2e::Message message;
    for (const std::string& token : tokens) {
        message.raw(bytesOf(token));
    }
    EXPECT_TRUE(socket.send(message.bytes()));
}

void DumpPlayer::expectReply(const std::vector<std::string>& tokens) {
    // One by one: how many bytes "[n]" stands for is known only when n has arrived.
    for (const std::string& token : tokens) {
        const Bytes bytes = calls().receive(sizeOf(token));
        size_t at = 0;
        std::string why;
        if (match(token, bytes, at, why)) continue;
        ADD_FAILURE() << why;
        return;
    }
}

void DumpPlayer::expectEvent(const std::vector<std::string>& tokens) {
    std::string others;
    for (;;) {
        const Bytes message = receiveEvent(events());
        if (message.size() < kEventHead) {
            ADD_FAILURE() << "only other events came:\n" << others;
            return;
        }
        // A message that does not fit must leave no capture behind.
        const auto names = names_;
        size_t at = 0;
        std::string why;
        const bool fits = std::all_of(tokens.begin(), tokens.end(), [&](const std::string& token) {
            return match(token, message, at, why);
        });
        if (fits && at == message.size()) return;
        names_ = names;
        others += e2e::hex(message) + "  " + why + "\n";
    }
}

size_t DumpPlayer::sizeOf(const std::string& token) const {
    if (isName(token)) return sizeof(int32_t);
    if (!isRun(token)) return 1;
    const auto named = names_.find(inner(token));
    if (named == names_.end()) return static_cast<size_t>(std::atoll(inner(token).c_str()));
    return static_cast<size_t>(e2e::int32At(named->second, 0));
}

bool DumpPlayer::match(const std::string& token, const Bytes& bytes, size_t& at, std::string& why) {
    const size_t size = sizeOf(token);
    if (at + size > bytes.size()) {
        why = "too short for " + token;
        return false;
    }
    const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    const Bytes found(begin, begin + static_cast<std::ptrdiff_t>(size));
    at += size;
    if (isRun(token)) return true;
    if (isName(token) && !names_.contains(inner(token))) {
        names_[inner(token)] = found;
        return true;
    }
    if (found == bytesOf(token)) return true;
    why = "expected " + e2e::hex(bytesOf(token)) + ", found " + e2e::hex(found);
    return false;
}

std::string DumpPlayer::film() const {
    std::string path = folder_.file("film.mov");
    if (!std::filesystem::exists(path)) e2e::writeFile(path, {1, 2, 3});
    return path;
}

Bytes DumpPlayer::bytesOf(const std::string& token) const {
    if (token == kModules) return e2e::Message().text(e2e::simulatedSetPath() + "/nikon").bytes();
    if (token == kFilm) return e2e::Message().text(film()).bytes();
    if (token.starts_with("{now")) return e2e::Message().int64(momentOf(token)).bytes();
    if (isName(token)) {
        const auto named = names_.find(inner(token));
        if (named != names_.end()) return named->second;
        ADD_FAILURE() << token << " has not arrived yet";
        return {};
    }
    if (!isHexPair(token)) {
        ADD_FAILURE() << "'" << token << "' is no byte";
        return {};
    }
    return {static_cast<uint8_t>(std::stoi(token, nullptr, 16))};
}

}  // namespace docs
