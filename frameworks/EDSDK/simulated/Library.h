/* Library.h: the library as a whole, and what its entry points have in common.
 *
 * An entry point opens a traced call, finds the objects that its references name, and answers through one of
 * the functions below, so that faults, exceptions and results are dealt with in one place.
 *
 * Thread: any.
 * Errors: the vendor's numbers.
 */
#pragma once

#include <exception>
#include <new>

#include "EDSDK.h"
#include "frameworks/EDSDK/simulated/Objects.h"
#include "lab/Call.h"

namespace sim {

struct EvfImage;

inline constexpr EdsError kOk = EDS_ERR_OK;
inline constexpr EdsUInt32 kNoReference = 0xFFFFFFFF;

EdsError startLibrary();
EdsError stopLibrary();
bool isStarted();

/** A reference was given that names no live object of the kind: counted, and refused. */
EdsError notLive();
/** Takes one reference back, with all that follows from it being the last. */
EdsUInt32 releaseReference(EdsBaseRef reference);
/** The same for one that a caller gives back, who may be mistaken. */
EdsUInt32 releaseByCaller(EdsBaseRef reference);

/** What a body says, in the vendor's numbers. */
EdsError errorOf(lab::canon::Outcome outcome);

/** The device that the call is about, as far as its object tells. */
void nameDevice(lab::Call& call, const Camera* camera);
void nameDevice(lab::Call& call, const DirectoryItem* item);
void nameDevice(lab::Call& call, EvfImage* image);

template <typename Wanted>
std::shared_ptr<Wanted> find(EdsBaseRef reference, lab::Call& call) {
    std::shared_ptr<Wanted> object = Objects::instance().find<Wanted>(reference);
    nameDevice(call, object.get());
    return object;
}

/** Answers the call: with its fault, or with what the work comes to. Nothing is thrown further. */
template <typename Work>
EdsError answer(lab::Call& call, Work work) {
    if (call.refused()) return call.answer<EdsError>();
    EdsError error = EDS_ERR_INTERNAL_ERROR;
    try {
        error = work();
    } catch (const std::bad_alloc&) {
        error = EDS_ERR_MEM_ALLOC_FAILED;
    } catch (const std::exception&) {
        error = EDS_ERR_INTERNAL_ERROR;
    }
    return call.done(error);
}

/** For functions that need a started library and no reference. */
template <typename Work>
EdsError answerStarted(lab::Call& call, Work work) {
    return answer(call, [&]() -> EdsError {
        if (!isStarted()) return EDS_ERR_INTERNAL_ERROR;
        return work();
    });
}

/** Hands out the first reference on a new object. */
EdsError handOut(std::shared_ptr<Object> object, EdsBaseRef* out);

}  // namespace sim
