/* NikonFields.h: checks what a scenario says about Nikon bodies, field by field.
 *
 * The description itself is kept as it stands, for the library that simulates the module.
 *
 * Thread: any.
 * Errors: in the Fields' report.
 */
#pragma once

#include "lab/Context.h"
#include "lab/Fields.h"

namespace lab {

void checkNikonFields(Fields& fields, const Context& context);
/** The "capabilities" of a body or of the module object. */
void checkNikonCapabilities(Fields& fields);

}  // namespace lab
