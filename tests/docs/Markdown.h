/* Markdown.h: the parts of a page that a machine can hold against the code: fenced blocks and tables.
 *
 * Thread: any; plain functions.
 * Errors: a page that cannot be read fails the test.
 * Follows: CommonMark's fenced code blocks and the tables that code forges show; no more of either than our
 * pages use.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace docs {

struct Block {
    std::string language;           // first word behind the fence
    std::vector<std::string> info;  // the words after it
    size_t firstLine = 0;           // number of the first line inside, from 1
    std::vector<std::string> lines;

    std::string text() const;
    bool has(std::string_view word) const;
};

using Row = std::vector<std::string>;

/** A page of this tree, by its path from the root. */
std::string readPage(const std::string& path);
std::vector<Block> blocksOf(const std::string& page);
/** The rows of all tables whose heading begins with these cells; code marks and bold are taken off. */
std::vector<Row> rowsOf(const std::string& page, const std::vector<std::string>& heading);
std::vector<std::string> linesOf(const std::string& text);
std::vector<std::string> wordsOf(const std::string& text);

}  // namespace docs
