#include "tests/Nikon/tree/Pictures.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

PicturesTest::PicturesTest() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tarvo-pictures-XXXXXX").string();
    folder = mkdtemp(pattern.data());
    openWholeTree();
    std::strcpy(camera.imagePath, (folder / "frame").c_str());
    camera.acquiring = 1;
}

PicturesTest::~PicturesTest() {
    std::filesystem::remove_all(folder);
}

std::vector<uint8_t> PicturesTest::picture(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 251);
    }
    return bytes;
}

NkMAIDFileInfo PicturesTest::head(uint32_t total, uint32_t start, uint32_t length, uint32_t type) {
    NkMAIDFileInfo info{};
    info.base.type = kMaidDataObjectFile | kMaidDataObjectImage;
    info.fileDataType = type;
    info.totalLength = total;
    info.start = start;
    info.length = length;
    return info;
}

int32_t PicturesTest::deliver(const NkMAIDFileInfo& info, const void* data) {
    const FakeCapability* taker = fakeImage->capability(kMaidCapabilityDataProc);
    if (taker == nullptr || taker->procedure.proc == nullptr) return kMaidResultNoDataProc;
    NkMAIDFileInfo copy = info;
    const int32_t answer = reinterpret_cast<MaidDataProc>(taker->procedure.proc)(taker->procedure.ref, &copy,
                                                                                 const_cast<void*>(data));
    answers.push_back(answer);
    return answer;
}

void PicturesTest::deliverAtPolls(const std::vector<uint8_t>& bytes, uint32_t blockSize, uint32_t type) {
    module.atPolls.push_back(nullptr);  // the one in which the data procedure is set
    const auto total = static_cast<uint32_t>(bytes.size());
    for (uint32_t start = 0; start < total; start += blockSize) {
        const uint32_t length = std::min(blockSize, total - start);
        module.atPolls.push_back(
            [=, this] { deliver(head(total, start, length, type), bytes.data() + start); });
    }
    const int polls = static_cast<int>(module.atPolls.size());
    module.before = [this, polls](const FakeCall& call) {
        module.completionPolls = call.command == kMaidCommandCapStart ? polls : 1;
    };
}

bool PicturesTest::acquire() {
    return nikon::IssueAcquire(&camera, image());
}

std::vector<uint8_t> PicturesTest::contentOf(const char* extension) const {
    std::ifstream file(pathOf(extension), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> PicturesTest::files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::ranges::sort(names);
    return names;
}
