/* Document.h: JSON texts, with errors that say where they are.
 *
 * Thread: any.
 * Errors: a line and column and what was expected there; a key that stands twice in one object is an error,
 *         because one of its two values would be lost without a word.
 * Follows: RFC 8259.
 */
#pragma once

#include <string>
#include <string_view>

#include "lab/Fields.h"

namespace lab {

/** False with the reason in `problem`; `out` is untouched then. */
LAB_EXPORT bool parseDocument(std::string_view text, Json& out, std::string& problem);
/** A whole file; the problem then begins with the path. */
LAB_EXPORT bool readDocument(const std::string& path, Json& out, std::string& problem);

}  // namespace lab
