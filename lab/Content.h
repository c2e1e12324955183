/* Content.h: what a file on a camera holds: a file of this machine, or made-up bytes.
 *
 * Thread: a Content is never changed and may be shared; a reader belongs to one thread.
 * Owns:   a reader its descriptor, mapping or bytes.
 * Errors: a reader says false when the file cannot be read (any more); it never raises a signal for it.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "lab/Export.h"

namespace lab {

class LAB_EXPORT ContentReader {
public:
    virtual ~ContentReader() = default;
    virtual uint64_t size() const = 0;
    virtual bool read(uint64_t offset, uint8_t* out, size_t count) = 0;
    /** Where these bytes lie in memory, for handing to the system's write(), which answers an error for a
     * page that has gone; null when they lie nowhere. Never read through it: the file may shrink at any time.
     */
    virtual const uint8_t* mapping(uint64_t offset, size_t count) = 0;
};

class LAB_EXPORT Content {
public:
    virtual ~Content() = default;
    /** How many bytes it has at the moment; a file that is gone has none. */
    virtual uint64_t size() const = 0;
    /** Null when it cannot be read. */
    virtual std::unique_ptr<ContentReader> open() const = 0;
};

using ContentRef = std::shared_ptr<const Content>;

LAB_EXPORT ContentRef fileContent(std::string path);
/** `size` bytes that are the same for the same size and seed; a valid JPEG when asked for one. */
LAB_EXPORT ContentRef madeUpContent(uint64_t size, uint64_t seed, bool isJpeg);
/** A grey ramp of that many pixels. */
LAB_EXPORT ContentRef rampContent(unsigned width, unsigned height, unsigned phase);

}  // namespace lab
