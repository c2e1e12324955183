/* References.h: how a module names our records: by numbers, which mean nothing once a record is closed.
 *
 * Thread: any.
 */
#pragma once

#include "Nikon/RefObj.h"

namespace nikon {

/** The record's `reference`, given to it on first use; null when there is no memory. */
MaidRef referenceOf(tagRefObj* object);
/** Null for one that means nothing (any more). */
tagRefObj* findByReference(MaidRef reference);
/** From now on it means nothing. */
void endReference(tagRefObj* object);

}  // namespace nikon
