/* Resources.h: the descriptions of the application's windows ("nibs"), compiled into the library.
 *
 * A description is XML as GtkBuilder reads it; a window is found in it by its id.
 *
 * Thread: any.
 * Owns:   the texts are part of the library; a reference stays good for the process's life, and disposing of
 *         it frees nothing. It is disposed of all the same, as with any reference.
 * Errors: statuses below; outputs are untouched on failure.
 */
#pragma once

#include <string>

#include "platform/Export.h"
#include "platform/Types.h"

using IBNibRef = const struct OpaqueNib*;

constexpr OSStatus kIBCarbonRuntimeCantFindNibFile = -10960;           ///< no nib of that name
constexpr OSStatus kIBCarbonRuntimeObjectNotOfRequestedType = -10961;  ///< it is there, but no window
constexpr OSStatus kIBCarbonRuntimeCantFindObject = -10962;            ///< the nib has no such object

/** noErr, paramErr (null argument) or kIBCarbonRuntimeCantFindNibFile. */
TARVO_PLATFORM_API OSStatus CreateNibReference(const char* name, IBNibRef* out);
TARVO_PLATFORM_API void DisposeNibReference(IBNibRef nib);

/** The XML, null for a reference that is none. */
TARVO_PLATFORM_API const char* nibText(IBNibRef nib);

struct NibWindow {
    std::string title;
};

/** Looks a window up in a nib without building it. paramErr for null or a reference that is none. */
TARVO_PLATFORM_API OSStatus findNibWindow(IBNibRef nib, const char* name, NibWindow* out);
