#include "lab/canon/Models.h"

#include <algorithm>
#include <array>

namespace lab::canon {

namespace {

// The camera's codes count in eighths of a stop.
constexpr int32_t kTv4000 = 0x98;
constexpr int32_t kTv8000 = 0xA0;
constexpr int32_t kIso1600 = 0x68;
constexpr int32_t kIso3200 = 0x70;
constexpr int32_t kIso6400 = 0x78;
constexpr int32_t kIso12800 = 0x80;
constexpr int32_t kIso25600 = 0x88;

// Names to the letter, as the bodies give them: some regions' names carry two blanks or differ in size.
constexpr std::array<Model, 38> kModels = {{
    {"Canon EOS-1D Mark III", 3888, 2592, false, kTv8000, kIso3200},
    {"Canon EOS-1Ds Mark III", 5616, 3744, false, kTv8000, kIso1600},
    {"Canon EOS-1D Mark IV", 4896, 3264, true, kTv8000, kIso12800},
    {"Canon EOS-1D X", 5184, 3456, true, kTv8000, kIso25600},
    {"Canon EOS 5D Mark II", 5616, 3744, true, kTv8000, kIso6400},
    {"Canon EOS 5D Mark III", 5760, 3840, true, kTv8000, kIso25600},
    {"Canon EOS 6D", 5472, 3648, true, kTv4000, kIso25600},
    {"Canon EOS 7D", 5184, 3456, true, kTv8000, kIso6400},
    {"Canon EOS 40D", 3888, 2592, false, kTv8000, kIso1600},
    {"Canon EOS 50D", 4752, 3168, true, kTv8000, kIso3200},
    {"Canon EOS 60D", 5184, 3456, true, kTv8000, kIso6400},
    {"Canon EOS 60Da", 5184, 3456, true, kTv8000, kIso6400},
    {"Canon EOS 450D", 4272, 2848, false, kTv4000, kIso1600},
    {"Canon EOS DIGITAL REBEL XSi", 4272, 2848, false, kTv4000, kIso1600},
    {"Canon EOS KISS  X2", 4272, 2848, false, kTv4000, kIso1600},
    {"Canon EOS 500D", 4752, 3168, true, kTv4000, kIso3200},
    {"Canon EOS DIGITAL REBEL T1i", 4752, 3168, true, kTv4000, kIso3200},
    {"Canon EOS REBEL T1i", 4752, 3168, true, kTv4000, kIso3200},
    {"Canon EOS KISS X3", 4272, 2848, true, kTv4000, kIso3200},
    {"Canon EOS 1000D", 3888, 2592, false, kTv4000, kIso1600},
    {"Canon EOS DIGITAL REBEL XS", 3888, 2592, false, kTv4000, kIso1600},
    {"Canon EOS KISS F", 3888, 2592, false, kTv4000, kIso1600},
    {"Canon EOS 550D", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS DIGITAL REBEL T2i", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS REBEL T2i", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS KISS X4", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS 600D", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS DIGITAL REBEL T3i", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS REBEL T3i", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS KISS X5", 5184, 3456, true, kTv4000, kIso6400},
    {"Canon EOS 650D", 5184, 3456, true, kTv4000, kIso12800},
    {"Canon EOS DIGITAL REBEL T4i", 5184, 3456, true, kTv4000, kIso12800},
    {"Canon EOS REBEL T4i", 5184, 3456, true, kTv4000, kIso12800},
    {"Canon EOS KISS X6i", 5184, 3456, true, kTv4000, kIso12800},
    {"Canon EOS 1100D", 4272, 2848, true, kTv4000, kIso6400},
    {"Canon EOS DIGITAL REBEL T3", 4272, 2848, true, kTv4000, kIso6400},
    {"Canon EOS REBEL T3", 4272, 2848, true, kTv4000, kIso6400},
    {"Canon EOS KISS X50", 4272, 2848, true, kTv4000, kIso6400},
}};

/** The codes from one to the other in thirds of a stop: 3, 2 and 3 eighths apart. */
std::vector<int32_t> thirds(int32_t first, int32_t last) {
    std::vector<int32_t> codes;
    for (int32_t stop = first & ~7; stop <= last; stop += 8) {
        for (const int32_t eighths : {0, 3, 5}) {
            const int32_t code = stop + eighths;
            if (code >= first && code <= last) codes.push_back(code);
        }
    }
    return codes;
}

std::vector<int32_t> isoCodes(int32_t highest) {
    constexpr int32_t kAuto = 0;
    constexpr int32_t kIso100 = 0x48;
    std::vector<int32_t> codes = thirds(kIso100, highest);
    codes.insert(codes.begin(), kAuto);
    return codes;
}

/** Three stops up, highest first, down to three stops below; below zero the codes wrap at a byte. */
std::vector<int32_t> compensationCodes() {
    std::vector<int32_t> codes = thirds(0, 0x18);
    std::reverse(codes.begin(), codes.end());
    for (const int32_t above : thirds(1, 0x18)) {
        codes.push_back(0x100 - above);
    }
    return codes;
}

class TableMaker {
public:
    void text(uint32_t id, std::string_view text, bool isReadOnly = true) {
        table_[id] = {textValue(text), std::nullopt, isReadOnly};
    }
    void meter(uint32_t id, int64_t value) { table_[id] = {numberValue(kUInt32, value), std::nullopt, true}; }
    void dial(uint32_t id, int64_t value, std::vector<int32_t> options, uint32_t type = kUInt32) {
        table_[id] = {numberValue(type, value), std::move(options), false};
    }
    void undescribed(uint32_t id, Value value) { table_[id] = {std::move(value), std::nullopt, false}; }
    PropertyTable take() { return std::move(table_); }

private:
    PropertyTable table_;
};

void addExposure(TableMaker& make, const Model& model) {
    constexpr int32_t kManual = 3;
    constexpr int32_t kBulb = 0x0C;
    std::vector<int32_t> tv = thirds(0x10, model.fastestTv);
    tv.insert(tv.begin(), kBulb);
    make.dial(kAeMode, kManual, {0, 1, 2, 3, 4, 5});
    make.dial(kDriveMode, 0, {0, 1, 0x10});
    make.dial(kIsoSpeed, 0x48, isoCodes(model.highestIso));
    make.dial(kMeteringMode, 3, {1, 3, 4, 5});
    make.dial(kAfMode, 3, {0, 1, 2, 3});
    make.dial(kAperture, 0x30, thirds(0x20, 0x50));
    make.dial(kShutterSpeed, 0x60, std::move(tv));
    make.dial(kExposureCompensation, 0, compensationCodes());
}

void addImage(TableMaker& make, bool isLegacy) {
    // Large fine JPEG; bodies of the legacy protocol do not say what else they could do.
    if (isLegacy) {
        make.undescribed(kImageQuality, numberValue(kUInt32, 0x00130000));
    } else {
        make.dial(kImageQuality, 0x0013FF0F,
                  {0x0013FF0F, 0x0012FF0F, 0x0113FF0F, 0x0112FF0F, 0x0213FF0F, 0x0212FF0F, 0x00640013,
                   0x00640012, 0x00640113, 0x00640213, 0x0064FF0F});
    }
    make.dial(kWhiteBalance, 0, {0, 1, 2, 3, 4, 5, 6, 8, 9}, kInt32);
    make.dial(kColorTemperature, 5200, {});
    make.dial(kPictureStyle, 0x81, {0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x21, 0x22, 0x23});
}

void addLiveView(TableMaker& make, const Model& model) {
    make.dial(kEvfOutputDevice, 0, {0, 1, 2, 3});
    make.dial(kEvfMode, 0, {0, 1});
    make.dial(kEvfWhiteBalance, 0, {0, 1, 2, 3, 4, 5, 6, 8, 9}, kInt32);
    make.dial(kEvfColorTemperature, 5200, {});
    make.dial(kEvfDepthOfField, 0, {0, 1});
    make.dial(kEvfZoom, 1, {1, 5, 10});
    make.undescribed(kEvfZoomPosition, pointValue(0, 0));
    make.dial(kEvfAfMode, 0, {0, 1, 2});
    make.undescribed(kEvfCoordinates, pointValue(model.width, model.height));
}

}  // namespace

Model modelOf(std::string_view name, bool isLegacy) {
    const auto* found =
        std::find_if(kModels.begin(), kModels.end(), [&](const Model& model) { return model.name == name; });
    if (found != kModels.end()) return *found;
    return {{}, 4000, 3000, !isLegacy, kTv4000, isLegacy ? kIso1600 : kIso3200};
}

size_t modelCount() {
    return kModels.size();
}

const Model& modelAt(size_t index) {
    return kModels.at(index);
}

PropertyTable defaultProperties(const Model& model, bool isLegacy, std::string_view name,
                                std::string_view firmware) {
    constexpr int64_t kSaveToCamera = 1;
    TableMaker make;
    make.text(kProductName, name);
    make.text(kOwnerName, "", false);
    make.text(kFirmwareVersion, firmware);
    make.meter(kBatteryLevel, 80);
    make.dial(kSaveTo, kSaveToCamera, {1, 2, 3});
    make.text(kBodyId, "0123456789");
    addImage(make, isLegacy);
    addExposure(make, model);
    make.meter(kAvailableShots, 999);
    make.text(kLensName, "EF50mm f/1.4 USM");
    if (!isLegacy) addLiveView(make, model);
    return make.take();
}

}  // namespace lab::canon
