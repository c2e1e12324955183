#include "Nikon/References.h"

#include "Nikon/Immortal.h"
#include "Nikon/Tickets.h"

namespace nikon {

namespace {

Tickets<tagRefObj*>& references() {
    return immortal<Tickets<tagRefObj*>>();  // outlives the threads that poll modules
}

}  // namespace

MaidRef referenceOf(tagRefObj* object) {
    if (object->reference == nullptr) object->reference = references().issue(object);
    return object->reference;
}

tagRefObj* findByReference(MaidRef reference) {
    return references().find(reference);
}

void endReference(tagRefObj* object) {
    if (object->reference != nullptr) references().take(object->reference);
    object->reference = nullptr;
}

}  // namespace nikon
