// JSON texts in and out: places of errors, numbers in both forms, bytes.
#include <gtest/gtest.h>

#include "lab/Document.h"
#include "lab/Fields.h"
#include "lab/JsonText.h"
#include "tests/lab/support.h"

namespace test {
namespace {

TEST(Documents, that_cannot_be_read_say_where_and_why) {
    struct Row {
        const char* text;
        const char* problem;
    };
    const Row rows[] = {
        {"", "line 1, column 1: unexpected end of input; expected '[', '{', or a literal"},
        {"{\n  \"a\": 1,\n}", "line 3, column 1: unexpected '}'; expected string literal"},
        {"[1, 2", "line 1, column 6: unexpected end of input; expected ']'"},
        {"{\"a\": tru}", "line 1, column 10: invalid literal; last read: '\"a\": tru}'"},
        {"\"\xFF\"", "line 1, column 2: invalid string: ill-formed UTF-8 byte; last read: '\"\xFF'"},
        {"{} x", "line 1, column 4: invalid literal; last read: '{} x'; expected end of input"},
        {"{\"a\": {\"b\": 1, \"b\": 2}}", "the field \"b\" stands twice in one object"},
    };
    for (const Row& row : rows) {
        lab::Json document = "untouched";
        std::string problem;
        EXPECT_FALSE(lab::parseDocument(row.text, document, problem)) << row.text;
        EXPECT_EQ(problem, row.problem) << row.text;
        EXPECT_EQ(document, "untouched");
    }
}

TEST(Documents, may_have_the_same_key_in_different_objects) {
    lab::Json document;
    std::string problem;
    EXPECT_TRUE(lab::parseDocument(R"([{"a": 1}, {"a": {"a": 2}}])", document, problem)) << problem;
    EXPECT_EQ(document[1]["a"]["a"], 2);
}

TEST(Documents, of_many_levels_neither_crash_nor_hang) {
    const std::string deep(200000, '[');
    lab::Json document;
    std::string problem;
    EXPECT_FALSE(lab::parseDocument(deep, document, problem));
    EXPECT_TRUE(lab::parseDocument(deep + std::string(deep.size(), ']'), document, problem));
}

TEST(Documents, that_are_no_files_say_so) {
    const Folder folder;
    lab::Json document;
    std::string problem;
    EXPECT_FALSE(lab::readDocument(folder.file("none.json"), document, problem));
    EXPECT_EQ(problem, folder.file("none.json") + ": No such file or directory");
    EXPECT_FALSE(lab::readDocument(folder.path(), document, problem));
    EXPECT_EQ(problem, folder.path() + ": Is a directory");
}

TEST(Numbers, may_be_written_as_numbers_or_as_hex_texts) {
    struct Row {
        Json json;
        bool isGood;
        int64_t number;
    };
    const Row rows[] = {
        {5, true, 5},
        {-5, true, -5},
        {"0x406", true, 0x406},
        {"0X1a", true, 0x1A},
        {"0xFFFFFFFF", true, 0xFFFFFFFF},
        {"0x7fffffffffffffff", true, INT64_MAX},
        {"0x8000000000000000", false, 0},
        {18446744073709551615U, false, 0},
        {"406", false, 0},
        {"0x", false, 0},
        {"0x-1", false, 0},
        {"0x4 ", false, 0},
        {"", false, 0},
        {300.0, true, 300},
        {-2.0, true, -2},
        {1.5, false, 0},
        {1e300, false, 0},
        {9007199254740994.0, false, 0},
        {true, false, 0},
        {nullptr, false, 0},
    };
    for (const Row& row : rows) {
        int64_t number = 0;
        EXPECT_EQ(lab::toNumber(row.json, number), row.isGood) << row.json;
        EXPECT_EQ(number, row.isGood ? row.number : number) << row.json;
    }
}

TEST(Bytes, are_pairs_of_hex_digits) {
    std::vector<uint8_t> bytes;
    EXPECT_TRUE(lab::toBytes("00aBff", bytes));
    EXPECT_EQ(bytes, (std::vector<uint8_t>{0, 0xAB, 0xFF}));
    EXPECT_TRUE(lab::toBytes("", bytes));
    EXPECT_TRUE(bytes.empty());
    EXPECT_FALSE(lab::toBytes("0", bytes));
    EXPECT_FALSE(lab::toBytes("0g", bytes));
    EXPECT_EQ(lab::hexText("\x00\xAB", 2), "00ab");
}

TEST(JsonTexts, are_read_back_as_they_were_meant) {
    lab::JsonText text;
    text.beginObject().key("a\"\\\n\x01").text("\x7F/é").key("n").number(INT64_MIN);
    text.key("u").unsignedNumber(UINT64_MAX).key("l").beginArray().null().boolean(true);
    text.beginObject().endObject().raw("[1]").endArray().endObject();
    const Json read = Json::parse(text.str());
    EXPECT_EQ(read["a\"\\\n\x01"], "\x7F/é");
    EXPECT_EQ(read["n"], INT64_MIN);
    EXPECT_EQ(read["u"], UINT64_MAX);
    EXPECT_EQ(read["l"], Json::array({nullptr, true, Json::object(), Json::array({1})}));
}

}  // namespace
}  // namespace test
