/* Pictures.h: a folder for pictures, and a camera's way to deliver them. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/Nikon/tree/Fixture.h"

class PicturesTest : public TreeTest {
protected:
    PicturesTest();
    ~PicturesTest() override;

    /** Bytes that differ from block to block. */
    static std::vector<uint8_t> picture(size_t size);
    static NkMAIDFileInfo head(uint32_t total, uint32_t start, uint32_t length, uint32_t type = kMaidFileNef);

    /** Delivers a block, as the camera does while it is polled. */
    int32_t deliver(const NkMAIDFileInfo& info, const void* data);
    /** Delivers the picture in blocks of the size, one a poll, then completes. Keeps what was answered. */
    void deliverAtPolls(const std::vector<uint8_t>& bytes, uint32_t blockSize, uint32_t type = kMaidFileNef);

    bool acquire();
    std::string pathOf(const char* extension) const { return (folder / "frame").string() + extension; }
    std::vector<uint8_t> contentOf(const char* extension) const;
    /** Everything in the folder, hidden files too. */
    std::vector<std::string> files() const;

    std::filesystem::path folder;
    std::vector<int32_t> answers;
};
