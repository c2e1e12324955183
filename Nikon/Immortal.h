/* Immortal.h: what modules may still ask for while the process exits.
 *
 * Thread: any; made on first use.
 * Owns:   one object of the type, for the life of the process, in memory that is there from the beginning.
 */
#pragma once

#include <cstddef>
#include <new>

namespace nikon {

/** The one object of the type. Its constructor must not allocate: nothing may be thrown from here. */
template <class Type>
Type& immortal() {
    alignas(Type) static std::byte memory[sizeof(Type)];
    static Type* const theOne = new (memory) Type;
    return *theOne;
}

}  // namespace nikon
