#include "frameworks/QTKit/simulated/Pictures.h"

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <map>
#include <mutex>
#include <tuple>
#include <utility>

#include <jpeglib.h>

namespace capture {

namespace {

using lab::video::Size;

constexpr size_t kPixelBytes = 4;
constexpr size_t kMostKeptBytes = size_t{256} << 20;

using Key = std::tuple<std::string, uint32_t, uint32_t>;

struct Kept {
    std::mutex mutex;
    std::map<Key, PictureRef> pictures;  // guarded by mutex, as below
    size_t bytes = 0;
};

Kept& kept() {
    static auto* all = new Kept;
    return *all;
}

/** The decoder reports by calling this, and must not get control again. */
struct Failure {
    jpeg_error_mgr manager;
    std::jmp_buf back;
    char reason[JMSG_LENGTH_MAX];
};

[[noreturn]] void failed(j_common_ptr decoder) {
    auto* failure = reinterpret_cast<Failure*>(decoder->err);
    decoder->err->format_message(decoder, failure->reason);
    std::longjmp(failure->back, 1);
}

void ignoreMessage(j_common_ptr /*decoder*/, int /*level*/) {}

struct Decoder {
    jpeg_decompress_struct state{};
    Failure failure{};
};

/** The jump back leaves nothing behind: what has a destructor lives in the callers. */
bool readHeader(Decoder& decoder, std::FILE* file) {
    if (setjmp(decoder.failure.back) != 0) return false;
    jpeg_create_decompress(&decoder.state);
    jpeg_stdio_src(&decoder.state, file);
    jpeg_read_header(&decoder.state, TRUE);
    decoder.state.out_color_space = JCS_EXT_BGRA;
    jpeg_start_decompress(&decoder.state);
    return true;
}

bool readRows(Decoder& decoder, uint8_t* pixels) {
    if (setjmp(decoder.failure.back) != 0) return false;
    const size_t rowBytes = decoder.state.output_width * kPixelBytes;
    while (decoder.state.output_scanline < decoder.state.output_height) {
        JSAMPROW row = pixels + decoder.state.output_scanline * rowBytes;
        jpeg_read_scanlines(&decoder.state, &row, 1);
    }
    return true;
}

bool decodeFile(std::FILE* file, Decoder& decoder, std::vector<uint8_t>& pixels, Size& size) {
    decoder.state.err = jpeg_std_error(&decoder.failure.manager);
    decoder.failure.manager.error_exit = failed;
    decoder.failure.manager.emit_message = ignoreMessage;
    if (!readHeader(decoder, file)) return false;
    size = {decoder.state.output_width, decoder.state.output_height};
    pixels.resize(size_t{size.width} * size.height * kPixelBytes);
    return readRows(decoder, pixels.data());
}

/** Empty when the file is no picture; that is said once, since the answer is kept. */
std::vector<uint8_t> decode(const std::string& path, Size& size) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rbe"), std::fclose);
    if (!file) {
        std::fprintf(stderr, "Failed to read '%s'\n", path.c_str());
        return {};
    }
    struct DecoderOwner {
        Decoder decoder;
        ~DecoderOwner() { jpeg_destroy_decompress(&decoder.state); }
    };
    const auto owner = std::make_unique<DecoderOwner>();
    std::vector<uint8_t> pixels;
    if (decodeFile(file.get(), owner->decoder, pixels, size)) return pixels;
    std::fprintf(stderr, "Failed to decode '%s': %s\n", path.c_str(), owner->decoder.failure.reason);
    return {};
}

/** Which pixels of a line make one pixel of the scaled line, and how much each counts. */
struct Share {
    size_t first = 0;
    std::vector<float> weights;
};

std::vector<Share> sharesOf(uint32_t from, uint32_t to) {
    const double ratio = static_cast<double>(from) / to;
    // A tent as wide as the pixel, or as the distance of its neighbours when there is less.
    const double reach = std::max(ratio, 1.0);
    std::vector<Share> shares(to);
    for (uint32_t i = 0; i < to; ++i) {
        const double centre = (i + 0.5) * ratio - 0.5;
        const double lowest = std::clamp(std::floor(centre - reach) + 1, 0.0, from - 1.0);
        const double highest = std::clamp(std::ceil(centre + reach) - 1, 0.0, from - 1.0);
        Share& share = shares[i];
        share.first = static_cast<size_t>(lowest);
        float sum = 0;
        for (double at = lowest; at <= highest; ++at) {
            const auto weight = static_cast<float>(std::max(0.0, 1 - std::fabs(at - centre) / reach));
            share.weights.push_back(weight);
            sum += weight;
        }
        for (float& weight : share.weights) {
            weight = sum > 0 ? weight / sum : 1;
        }
    }
    return shares;
}

/** One direction: lines of `count` values, `step` apart, become lines of shares.size(). */
std::vector<float> scaledLines(const std::vector<float>& in, const std::vector<Share>& shares, size_t lines,
                               size_t lineStep, size_t valueStep, size_t outLineStep, size_t outValueStep) {
    std::vector<float> out(lines * shares.size() * kPixelBytes);
    for (size_t line = 0; line < lines; ++line) {
        for (size_t i = 0; i < shares.size(); ++i) {
            for (size_t colour = 0; colour < kPixelBytes; ++colour) {
                float sum = 0;
                size_t at = line * lineStep + shares[i].first * valueStep + colour;
                for (const float weight : shares[i].weights) {
                    sum += in[at] * weight;
                    at += valueStep;
                }
                out[line * outLineStep + i * outValueStep + colour] = sum;
            }
        }
    }
    return out;
}

PictureRef keep(Key key, PictureRef picture) {
    Kept& all = kept();
    const std::lock_guard guard(all.mutex);
    const auto [place, isNew] = all.pictures.try_emplace(std::move(key), std::move(picture));
    const PictureRef result = place->second;
    if (isNew) all.bytes += result->pixels.size();
    for (auto at = all.pictures.begin(); all.bytes > kMostKeptBytes && at != all.pictures.end();) {
        if (at->second.use_count() > 1) {
            ++at;
            continue;
        }
        all.bytes -= at->second->pixels.size();
        at = all.pictures.erase(at);
    }
    return result;
}

}  // namespace

std::vector<uint8_t> scaled(const std::vector<uint8_t>& pixels, Size from, Size to) {
    if (from == to || pixels.empty()) return pixels;
    const size_t fromRow = from.width * kPixelBytes;
    const size_t toRow = to.width * kPixelBytes;
    const std::vector<float> whole(pixels.begin(), pixels.end());
    const std::vector<float> narrowed = scaledLines(whole, sharesOf(from.width, to.width), from.height,
                                                    fromRow, kPixelBytes, toRow, kPixelBytes);
    const std::vector<float> done = scaledLines(narrowed, sharesOf(from.height, to.height), to.width,
                                                kPixelBytes, toRow, kPixelBytes, toRow);
    std::vector<uint8_t> bytes(done.size());
    std::transform(done.begin(), done.end(), bytes.begin(), [](float value) {
        return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
    });
    return bytes;
}

PictureRef pictureOf(const std::string& path, Size size) {
    Key key(path, size.width, size.height);
    {
        const std::lock_guard guard(kept().mutex);
        const auto found = kept().pictures.find(key);
        if (found != kept().pictures.end()) return found->second;
    }
    Size own;
    auto picture = std::make_shared<Picture>();
    picture->pixels = scaled(decode(path, own), own, size);
    return keep(std::move(key), std::move(picture));
}

}  // namespace capture
