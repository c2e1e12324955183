#include "lab/JsonText.h"

namespace lab {

namespace {

constexpr char kDigits[] = "0123456789abcdef";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0U) == 0x80U;
}

struct LeadByte {
    size_t length;
    unsigned char lowestSecond;
    unsigned char highestSecond;
};

/** What may follow a first byte; a length of 0 means that no character begins with it. */
LeadByte leadByte(unsigned char byte) {
    if (byte < 0x80) return {1, 0, 0};
    if (byte >= 0xC2 && byte <= 0xDF) return {2, 0x80, 0xBF};
    if (byte == 0xE0) return {3, 0xA0, 0xBF};
    if (byte == 0xED) return {3, 0x80, 0x9F};
    if (byte >= 0xE1 && byte <= 0xEF) return {3, 0x80, 0xBF};
    if (byte == 0xF0) return {4, 0x90, 0xBF};
    if (byte >= 0xF1 && byte <= 0xF3) return {4, 0x80, 0xBF};
    if (byte == 0xF4) return {4, 0x80, 0x8F};
    return {0, 0, 0};
}

/** The length of the character at the front of the text, 0 when it is not UTF-8. */
size_t characterLength(std::string_view text) {
    const LeadByte lead = leadByte(static_cast<unsigned char>(text[0]));
    if (lead.length <= 1) return lead.length;
    if (text.size() < lead.length) return 0;
    const auto second = static_cast<unsigned char>(text[1]);
    if (second < lead.lowestSecond || second > lead.highestSecond) return 0;
    for (size_t i = 2; i < lead.length; ++i) {
        if (!isContinuation(static_cast<unsigned char>(text[i]))) return 0;
    }
    return lead.length;
}

void appendControl(std::string& out, unsigned char byte) {
    switch (byte) {
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    out += "\\u00";
    out += kDigits[byte >> 4U];
    out += kDigits[byte & 0xFU];
}

void appendQuoted(std::string& out, std::string_view value) {
    out += '"';
    while (!value.empty()) {
        const auto byte = static_cast<unsigned char>(value[0]);
        if (byte < 0x20 || byte == 0x7F) {
            appendControl(out, byte);
            value.remove_prefix(1);
            continue;
        }
        if (byte == '"' || byte == '\\') out += '\\';
        const size_t length = characterLength(value);
        if (length == 0) {
            out += kReplacement;
            value.remove_prefix(1);
            continue;
        }
        out += value.substr(0, length);
        value.remove_prefix(length);
    }
    out += '"';
}

}  // namespace

std::string hexText(const void* data, size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::string text;
    text.reserve(size * 2);
    for (size_t i = 0; i < size; ++i) {
        text += kDigits[bytes[i] >> 4U];
        text += kDigits[bytes[i] & 0xFU];
    }
    return text;
}

void JsonText::separate() {
    if (needsComma_) out_ += ',';
    needsComma_ = true;
}

JsonText& JsonText::beginObject() {
    separate();
    out_ += '{';
    needsComma_ = false;
    return *this;
}

JsonText& JsonText::endObject() {
    out_ += '}';
    needsComma_ = true;
    return *this;
}

JsonText& JsonText::beginArray() {
    separate();
    out_ += '[';
    needsComma_ = false;
    return *this;
}

JsonText& JsonText::endArray() {
    out_ += ']';
    needsComma_ = true;
    return *this;
}

JsonText& JsonText::key(std::string_view name) {
    separate();
    appendQuoted(out_, name);
    out_ += ':';
    needsComma_ = false;
    return *this;
}

JsonText& JsonText::number(int64_t value) {
    separate();
    out_ += std::to_string(value);
    return *this;
}

JsonText& JsonText::unsignedNumber(uint64_t value) {
    separate();
    out_ += std::to_string(value);
    return *this;
}

JsonText& JsonText::boolean(bool value) {
    return raw(value ? "true" : "false");
}

JsonText& JsonText::null() {
    return raw("null");
}

JsonText& JsonText::text(std::string_view value) {
    separate();
    appendQuoted(out_, value);
    return *this;
}

JsonText& JsonText::hex(const void* data, size_t size) {
    return text(hexText(data, size));
}

JsonText& JsonText::raw(std::string_view json) {
    separate();
    out_ += json;
    return *this;
}

}  // namespace lab
