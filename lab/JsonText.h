/* JsonText.h: writes one JSON text from front to back, without a document in memory.
 *
 * The trace is written with it: an entry is a short text from the moment the call ends, and a trace of many
 * thousand entries becomes one answer without being built as a tree first.
 *
 * Thread: one writer, one thread.
 * Errors: none; bytes that are not UTF-8 become U+FFFD, so that the text is valid whatever a caller passed.
 * Follows: RFC 8259 (JSON), RFC 3629 (UTF-8).
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "lab/Export.h"

namespace lab {

class LAB_EXPORT JsonText {
public:
    JsonText& beginObject();
    JsonText& endObject();
    JsonText& beginArray();
    JsonText& endArray();

    JsonText& key(std::string_view name);
    JsonText& number(int64_t value);
    JsonText& unsignedNumber(uint64_t value);
    JsonText& boolean(bool value);
    JsonText& null();
    JsonText& text(std::string_view value);
    /** Bytes as the lab writes them everywhere: a text of lower-case hexadecimal digits. */
    JsonText& hex(const void* data, size_t size);
    /** A text that is JSON already. */
    JsonText& raw(std::string_view json);

    const std::string& str() const { return out_; }
    std::string take() { return static_cast<std::string&&>(out_); }

private:
    void separate();

    std::string out_;
    bool needsComma_ = false;
};

/** The two lower-case digits of every byte. */
LAB_EXPORT std::string hexText(const void* data, size_t size);

}  // namespace lab
