/* Blocks of a picture, with heads as the bytes say. What is left at the path is a whole picture of the last
 * announced length, or nothing. */
#include <array>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "Nikon/CallBack.h"
#include "Nikon/TransferRecord.h"
#include "tests/fuzz/Input.h"
#include "tests/fuzz/Surroundings.h"

namespace {

constexpr uint32_t kLongestBlock = 200'000;
constexpr int kMostBlocks = 64;

void check(bool isRight) {
    if (!isRight) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static std::array<uint8_t, kLongestBlock> block{};
    Input input(bytes, size);
    nikon::CameraData camera{};
    std::strcpy(camera.imagePath, picturePath().c_str());
    const auto transfer = std::make_shared<nikon::Transfer>(&camera);
    const MaidRef reference = nikon::openTransfer(transfer);
    uint64_t received = 0;
    bool isBegun = false;
    bool isRefused = false;
    for (int i = 0; i < kMostBlocks && !input.isEmpty(); ++i) {
        NkMAIDFileInfo info{};
        input.fill(&info, sizeof info);
        info.base.type |= kMaidDataObjectFile;
        info.fileDataType = kMaidFileNef;
        // Only what can be had at all; the length beside it stays as it is.
        if (input.byte() % 4 != 0) info.totalLength %= 2 * kLongestBlock;
        if (input.byte() % 4 != 0) info.length %= kLongestBlock;
        if (input.byte() % 8 != 0) info.diskFile = 0;
        void* data = info.length <= block.size() ? block.data() : nullptr;
        const int32_t answer = nikon::DataProc(reference, &info, data);
        check(answer == 0 || answer == -117 || answer == -118);
        check(!isRefused || answer != 0);
        isRefused = answer != 0;
        if (isRefused) continue;
        isBegun = true;
        received += info.length;
        check(received <= info.totalLength);
        if (received < info.totalLength) continue;
        check(std::filesystem::file_size(picturePath() + ".nef") == received);
        received = 0;
        isBegun = false;
    }
    check(transfer->isWhole() == (!isRefused && !isBegun));
    nikon::endTransfer(reference);
    NkMAIDFileInfo late{};
    check(nikon::DataProc(reference, &late, nullptr) == -120);
    removePictures();
    return 0;
}
