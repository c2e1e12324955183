/* Enumeration.h: a capability that is a list of values, as a module hands it out.
 *
 * What a module says about its lists is not believed: the elements that can be looked at are never more than
 * what was both allocated for and announced.
 *
 * Thread: the one that holds the module's lock; both reads let the module work.
 * Owns:   the elements.
 * Errors: false, with the record as the module left it.
 */
#pragma once

#include <cstdint>
#include <span>

#include "Nikon/Function.h"

namespace nikon {

class Enumeration {
public:
    /** The record without its elements. False for what the object does not offer as a readable list. */
    bool read(tagRefObj* object, uint32_t capability);
    /** The elements, too. */
    bool fetchElements();
    /** Hands the record back to the module, with another current value. */
    bool set(uint32_t valueIndex);

    const NkMAIDEnum& record() const { return record_; }
    std::span<const uint8_t> bytes() const { return {elements_.get(), size_}; }
    /** How many whole elements of so many bytes there are. */
    size_t count(size_t elementSize) const { return size_ / elementSize; }
    uint32_t valueAt(size_t index) const;

private:
    tagRefObj* object_ = nullptr;
    uint32_t capability_ = 0;
    NkMAIDEnum record_{};
    ElementStorage elements_;
    size_t size_ = 0;
};

}  // namespace nikon
