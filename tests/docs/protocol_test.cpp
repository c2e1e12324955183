// What docs/protocol.md says, held against the helper and against the code's own tables.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <map>
#include <set>
#include <span>
#include <utility>

#include "tests/docs/DumpPlayer.h"
#include "tests/docs/Markdown.h"
#include "tests/e2e/support/canon_calls.h"
#include "tests/e2e/support/nikon_calls.h"
#include "tests/e2e/support/video_calls.h"

namespace docs {
namespace {

const char kPage[] = "docs/protocol.md";
const char kInterface[] = "frameworks/EDSDK/include/EDSDK.h";

std::string simplified(std::string text) {
    std::erase(text, '_');
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

e2e::Bytes bytesFrom(const std::vector<std::string>& words, size_t first) {
    e2e::Bytes bytes;
    for (size_t i = first; i < words.size(); ++i) {
        bytes.push_back(static_cast<uint8_t>(std::stoi(words[i], nullptr, 16)));
    }
    return bytes;
}

/** "ints 1 2      02 00 …": the value's words end where two blanks stand. */
e2e::Bytes encoded(const std::string& value) {
    const std::vector<std::string> words = wordsOf(value);
    const std::string& type = words.front();
    e2e::Message message;
    if (type == "ints" || type == "bytes") {
        message.int32(static_cast<int64_t>(words.size()) - 1);
        for (size_t i = 1; i < words.size(); ++i) {
            type == "ints" ? message.int32(std::stoll(words[i]))
                           : message.byte(std::stoi(words[i], nullptr, 16));
        }
        return message;
    }
    const std::string& text = words.at(1);
    if (type == "byte") return message.byte(std::stoi(text));
    if (type == "int") return message.int32(std::stoll(text));
    if (type == "long") return message.int64(std::stoll(text));
    if (type == "float") return message.fraction(std::stod(text));
    if (type == "string") return message.text(text.substr(1, text.size() - 2));
    ADD_FAILURE() << "no such type: " << type;
    return message;
}

/** The names with this beginning that the interface defines, and their numbers. */
std::map<std::string, int64_t> definedNames(const std::string& beginning) {
    std::map<std::string, int64_t> names;
    for (const std::string& line : linesOf(readPage(kInterface))) {
        const std::vector<std::string> words = wordsOf(line);
        const bool isDefinition = words.size() >= 3 && words[1] == "=" && words[0].starts_with(beginning);
        if (isDefinition) names[words[0].substr(beginning.size())] = std::stoll(words[2], nullptr, 16);
    }
    return names;
}

/** "int handle, int property id" as one letter an argument. */
std::string argumentLetters(const std::string& cell) {
    static const std::map<std::string, std::string> kLetters = {
        {"int", "i"}, {"byte", "b"}, {"float", "f"}, {"string", "s"}, {"long", "l"}};
    std::string letters;
    bool isType = true;
    for (const std::string& word : wordsOf(cell)) {
        if (isType && kLetters.contains(word)) letters += kLetters.at(word);
        isType = word.ends_with(',');
    }
    return letters;
}

/** A result as the page tells it, as far as its kind on the wire goes. */
e2e::ResultKind resultKind(const std::string& cell) {
    // An array begins with the name of its elements.
    static const std::pair<const char*, e2e::ResultKind> kKinds[] = {
        {"string array", e2e::ResultKind::texts}, {"int array", e2e::ResultKind::ints},
        {"byte array", e2e::ResultKind::bytes},   {"int", e2e::ResultKind::int32},
        {"long", e2e::ResultKind::int64},         {"byte", e2e::ResultKind::byte},
        {"float", e2e::ResultKind::fraction},     {"string", e2e::ResultKind::text}};
    for (const auto& [beginning, kind] : kKinds) {
        if (cell.starts_with(beginning)) return kind;
    }
    return e2e::ResultKind::none;
}

/** Handles have letters of their own in the list of methods, and are longs on the wire. */
std::string withoutHandles(std::string letters) {
    for (char& letter : letters) {
        if (letter == 'm' || letter == 'c') letter = 'l';
    }
    return letters;
}

/** A module's table of methods; `head` are the heads of its id, names, arguments and results. */
void expectTable(const std::vector<std::string>& head, std::span<const e2e::Method> methods) {
    const std::vector<Row> rows = rowsOf(readPage(kPage), head);
    ASSERT_EQ(rows.size(), methods.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        SCOPED_TRACE(methods[i].name);
        EXPECT_EQ(std::stoi(rows[i].at(0)), methods[i].id);
        EXPECT_EQ(simplified(rows[i].at(1)), simplified(methods[i].name));
        EXPECT_EQ(argumentLetters(rows[i].at(2)), withoutHandles(methods[i].arguments));
        EXPECT_EQ(resultKind(rows[i].at(3)), methods[i].result);
    }
}

TEST(ProtocolPage, DumpsAreWhatTheHelperSaysAndHears) {
    const std::string page = readPage(kPage);
    DumpPlayer player(page);
    size_t played = 0;
    for (const Block& block : blocksOf(page)) {
        if (block.language != "bytes") continue;
        ++played;
        player.play(block);
        if (HasFailure()) return;
    }
    EXPECT_GT(played, 0U);
}

TEST(ProtocolPage, TimedShotLeavesBothFilesWhole) {
    const std::string page = readPage(kPage);
    DumpPlayer player(page);
    bool hasSeenDialogues = false;
    for (const Block& block : blocksOf(page)) {
        const bool isFirst =
            block.language == "bytes" && block.text().find("# InitializeSDK") != std::string::npos;
        hasSeenDialogues = hasSeenDialogues || isFirst;
        if (!hasSeenDialogues || block.language != "bytes") continue;
        player.play(block);
        if (HasFailure() || block.text().find("shot2.jpg") != std::string::npos) break;
    }
    EXPECT_EQ(e2e::readFile(player.pictures() + "/shot2.cr2").size(), 60000U);
    EXPECT_EQ(e2e::readFile(player.pictures() + "/shot2.jpg").size(), 20000U);
}

/** What the page's dumps send: a module's byte, and a method's where it has methods. */
std::set<std::pair<int, int>> shownCalls(const std::string& page) {
    std::set<std::pair<int, int>> shown;
    for (const Block& block : blocksOf(page)) {
        if (block.language != "bytes") continue;
        for (const std::string& line : block.lines) {
            const std::vector<std::string> words = wordsOf(line);
            if (words.size() < 2 || (words[0] != ">" && words[0] != "E>")) continue;
            if (words[1].starts_with('{')) continue;  // goes on with the call of the line above
            const int module = std::stoi(words[1], nullptr, 16);
            const bool hasMethod = words.size() > 2 && words[2].size() == 2;
            shown.insert({module, hasMethod ? std::stoi(words[2], nullptr, 16) : 0});
        }
    }
    return shown;
}

TEST(ProtocolPage, EveryMethodOfEveryModuleHasADump) {
    const auto shown = shownCalls(readPage(kPage));
    const auto expectAll = [&](int module, const auto& methods) {
        for (const auto& method : methods) {
            EXPECT_TRUE(shown.contains({module, method.id})) << module << ": " << method.id;
        }
    };
    expectAll(10, e2e::canonMethods());
    expectAll(20, e2e::nikonMethods());
    expectAll(40, e2e::videoMethods());
    // Those without methods: the callback socket, the movie export, the end of the helper.
    for (const int module : {8, 30, 66}) {
        EXPECT_TRUE(std::any_of(shown.begin(), shown.end(), [module](const auto& call) {
            return call.first == module;
        })) << module;
    }
}

TEST(ProtocolPage, TablesHaveArgumentsAndResultsOfAllMethods) {
    expectTable({"id", "method", "arguments", "result"}, e2e::canonMethods());
    expectTable({"id", "Nikon call", "takes", "gives"}, e2e::nikonMethods());
    expectTable({"id", "call", "takes", "gives"}, e2e::videoMethods());
}

TEST(ProtocolPage, NikonShotLeavesBothFilesWhole) {
    const std::string page = readPage(kPage);
    DumpPlayer player(page);
    for (const Block& block : blocksOf(page)) {
        if (block.language == "bytes" && block.has("nikon")) player.play(block);
    }
    EXPECT_EQ(e2e::readFile(player.pictures() + "/shot3.nef").size(), 60000U);
    EXPECT_EQ(e2e::readFile(player.pictures() + "/shot3.jpg").size(), 20000U);
    EXPECT_FALSE(std::filesystem::exists(player.pictures() + "/shot4.jpg"));
}

TEST(ProtocolPage, ExportedSettingsAreInBothFiles) {
    const std::string page = readPage(kPage);
    DumpPlayer player(page);
    for (const Block& block : blocksOf(page)) {
        if (block.language == "bytes" && block.has("export")) player.play(block);
    }
    const e2e::Bytes first = e2e::readFile(player.pictures() + "/a");
    EXPECT_EQ(first.size(), 20U);
    EXPECT_EQ(e2e::readFile(player.pictures() + "/b"), first);
}

TEST(ProtocolPage, ValuesAreEncodedAsShown) {
    size_t seen = 0;
    for (const Block& block : blocksOf(readPage(kPage))) {
        if (block.language != "values") continue;
        for (const std::string& line : block.lines) {
            SCOPED_TRACE(line);
            const size_t gap = line.find("  ");
            ASSERT_NE(gap, std::string::npos);
            EXPECT_EQ(encoded(line.substr(0, gap)), bytesFrom(wordsOf(line.substr(gap)), 0));
            ++seen;
        }
    }
    EXPECT_GT(seen, 0U);
}

TEST(ProtocolPage, ErrorNumbersAreTheInterfaces) {
    std::map<std::string, int64_t> shown;
    for (const Row& row : rowsOf(readPage(kPage), {"number", "name", "usual reason"})) {
        shown[row.at(1)] = std::stoll(row.at(0), nullptr, 16);
    }
    for (const auto& [name, number] : definedNames("EDS_ERR_")) {
        if (number == 0) continue;
        EXPECT_EQ(shown["EDS_ERR_" + name], number) << name;
    }
}

TEST(ProtocolPage, PropertyIdsAreTheInterfaces) {
    std::map<std::string, int64_t> shown;
    for (const Row& row : rowsOf(readPage(kPage), {"id", "name", "values"})) {
        shown[row.at(1)] = std::stoll(row.at(0), nullptr, 16);
    }
    const auto defined = definedNames("kEdsPropID_");
    EXPECT_FALSE(defined.empty());
    EXPECT_EQ(shown, defined);
}

}  // namespace
}  // namespace docs
