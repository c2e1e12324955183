#include "Nikon/References.h"

#include "Nikon/Tickets.h"

namespace nikon {

namespace {

Tickets<tagRefObj*>& references() {
    static auto* const tickets = new Tickets<tagRefObj*>;  // outlives the threads that poll modules
    return *tickets;
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
