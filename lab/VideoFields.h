/* VideoFields.h: checks what a scenario says about video devices, field by field.
 *
 * The description itself is kept as it stands, for the libraries that simulate capture and controls.
 *
 * Thread: any.
 * Errors: in the Fields' report.
 */
#pragma once

#include "lab/Context.h"
#include "lab/Fields.h"

namespace lab {

void checkVideoFields(Fields& fields, const Context& context);

}  // namespace lab
