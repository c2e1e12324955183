// Movies that broke off are told from whole ones by their atoms.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "frameworks/QuickTime/gstreamer/MovieTables.h"
#include "tests/e2e/support/temp_folder.h"

namespace {

using e2e::Bytes;
using movies::MovieTables;

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes bigEndian(uint64_t number, int size) {
    Bytes bytes;
    for (int shift = (size - 1) * 8; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<uint8_t>(number >> shift));
    return bytes;
}

/** The header says `size`, whatever follows. */
Bytes atom(const std::string& type, uint64_t size, size_t dataSize) {
    return bigEndian(size, 4) + Bytes(type.begin(), type.end()) + Bytes(dataSize, 7);
}
Bytes atom(const std::string& type, size_t dataSize) {
    return atom(type, dataSize + 8, dataSize);
}
Bytes longAtom(const std::string& type, uint64_t size, size_t dataSize) {
    return bigEndian(1, 4) + Bytes(type.begin(), type.end()) + bigEndian(size, 8) + Bytes(dataSize, 7);
}

class MovieTablesOf : public testing::Test {
protected:
    MovieTables of(const Bytes& bytes) const {
        e2e::writeFile(folder_.file("film.mov"), bytes);
        return movies::lookForTables(folder_.file("film.mov").c_str());
    }

    e2e::TempFolder folder_;
};

TEST_F(MovieTablesOf, a_movie_may_come_first_or_last) {
    EXPECT_EQ(MovieTables::present, of(atom("ftyp", 12) + atom("moov", 40) + atom("mdat", 30)));
    EXPECT_EQ(MovieTables::present, of(atom("wide", 0) + atom("mdat", 30) + atom("moov", 40)));
    EXPECT_EQ(MovieTables::present, of(longAtom("mdat", 46, 30) + atom("moov", 40)));
}

TEST_F(MovieTablesOf, a_movie_that_broke_off_are_missing_wherever_it_ends) {
    EXPECT_EQ(MovieTables::cutOff, of(atom("ftyp", 12)));
    EXPECT_EQ(MovieTables::cutOff, of(atom("ftyp", 12) + atom("mdat", 30)));
    EXPECT_EQ(MovieTables::cutOff, of(atom("ftyp", 12) + Bytes{0, 0, 1}));
    EXPECT_EQ(MovieTables::cutOff, of(atom("ftyp", 12) + atom("mdat", 1000, 30)));
    EXPECT_EQ(MovieTables::cutOff, of(atom("ftyp", 12) + longAtom("mdat", ~uint64_t{0}, 30)));
    EXPECT_EQ(MovieTables::cutOff, of(atom("ftyp", 12) + atom("mdat", 0, 30))) << "media to the end";
}

TEST_F(MovieTablesOf, other_files_are_nobodys_business) {
    EXPECT_EQ(MovieTables::notOfThisKind, of({}));
    EXPECT_EQ(MovieTables::notOfThisKind, of({1, 2, 3}));
    EXPECT_EQ(MovieTables::notOfThisKind, of(atom("RIFF", 30)));
    EXPECT_EQ(MovieTables::notOfThisKind, of(atom("mdat", 3, 30))) << "smaller than its own header";
    EXPECT_EQ(MovieTables::notOfThisKind, of(longAtom("mdat", 15, 30)));
    EXPECT_EQ(MovieTables::notOfThisKind, of(atom("mdat", 1, 3))) << "too short for its long size";
    EXPECT_EQ(MovieTables::notOfThisKind, movies::lookForTables(folder_.file("none.mov").c_str()));
    EXPECT_EQ(MovieTables::notOfThisKind, movies::lookForTables(folder_.path().c_str()));
}

}  // namespace
