#include "tests/docs/Markdown.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace docs {

namespace {

constexpr std::string_view kFence = "```";

std::string trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

std::string withoutMarks(std::string cell) {
    std::erase(cell, '`');
    std::erase(cell, '*');
    return trimmed(cell);
}

Row cellsOf(const std::string& line) {
    Row cells;
    std::stringstream text(line.substr(1));
    for (std::string cell; std::getline(text, cell, '|');) {
        cells.push_back(withoutMarks(cell));
    }
    return cells;
}

bool beginsWith(const Row& row, const std::vector<std::string>& heading) {
    return row.size() >= heading.size() && std::equal(heading.begin(), heading.end(), row.begin());
}

}  // namespace

std::string Block::text() const {
    std::string all;
    for (const std::string& line : lines) {
        all += line + "\n";
    }
    return all;
}

bool Block::has(std::string_view word) const {
    return std::find(info.begin(), info.end(), word) != info.end();
}

std::string readPage(const std::string& path) {
    std::ifstream file(std::string(TARVO_SOURCE_DIR) + "/" + path, std::ios::binary);
    if (!file) ADD_FAILURE() << "cannot read " << path;
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::stringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> wordsOf(const std::string& text) {
    std::vector<std::string> words;
    std::stringstream stream(text);
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

std::vector<Block> blocksOf(const std::string& page) {
    std::vector<Block> blocks;
    bool isInside = false;
    const std::vector<std::string> lines = linesOf(page);
    for (size_t i = 0; i < lines.size(); ++i) {
        if (!lines[i].starts_with(kFence)) {
            if (isInside) blocks.back().lines.push_back(lines[i]);
            continue;
        }
        isInside = !isInside;
        if (!isInside) continue;
        std::vector<std::string> info = wordsOf(lines[i].substr(kFence.size()));
        Block block;
        if (!info.empty()) {
            block.language = info.front();
            info.erase(info.begin());
        }
        block.info = std::move(info);
        block.firstLine = i + 2;
        blocks.push_back(std::move(block));
    }
    EXPECT_FALSE(isInside) << "a fenced block does not end";
    return blocks;
}

std::vector<Row> rowsOf(const std::string& page, const std::vector<std::string>& heading) {
    std::vector<Row> rows;
    bool isInside = false;
    for (const std::string& line : linesOf(page)) {
        if (!line.starts_with('|')) {
            isInside = false;
            continue;
        }
        Row row = cellsOf(line);
        if (!isInside) {
            isInside = beginsWith(row, heading);
        } else if (!row.front().starts_with("---")) {
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

}  // namespace docs
