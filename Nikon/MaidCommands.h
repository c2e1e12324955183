/* MaidCommands.h: the commands to a module, each issued and polled to its end on the calling thread.
 *
 * A synchronous command is issued, and then the module is let work until it reports the command's completion.
 * A command that the module accepted is waited for as long as the module lets itself be polled: an exposure
 * may take minutes. One that it refused is normally completed as well, but need not be: after
 * kPollsAfterRefusal polls without a completion the refusal is believed. Nor can much be expected of a camera
 * that the module has reported as gone: its commands are given up kPollsAfterRemoval polls after that.
 *
 * What a module may write to while a command is open does not lie in the caller's frame: small records are
 * copied there and back, element storage is handed over. A command that was never completed keeps it, so a
 * module that comes late writes into memory of its own command, and its completion finds nobody.
 *
 * Thread: one at a time for a tree. Whatever lets the module work may change the tree (RefObj.h).
 * Errors: false; the module's own numbers where a number is answered.
 * Units:  polls are about 10 ms apart.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "MAID.h"
#include "Nikon/RefObj.h"

namespace nikon {

/** The result of every command without an entry point. */
constexpr int32_t kNoEntryPoint = -1000;
/** One second: a module that has not completed what it refused by then will not. */
constexpr int kPollsAfterRefusal = 100;
/** Three seconds, in which a module has found out that the device under its command does not answer. */
constexpr int kPollsAfterRemoval = 300;

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};
/** Room for the elements of an array or enumeration; from malloc. */
using ElementStorage = std::unique_ptr<uint8_t[], FreeMemory>;

/** All zero; null when there is no memory. */
inline ElementStorage AllocateBytes(size_t size) {
    return ElementStorage(static_cast<uint8_t*>(std::calloc(size, 1)));
}

/** The plain call: no completion is waited for. */
int32_t CallMAIDEntryPoint(const tagRefObj* object, uint32_t command, uint32_t parameter, uint32_t dataType,
                           MaidParam data, MaidCompletionProc completion, MaidRef reference);

/** Not polled. Both log their failures. */
bool Command_Open(const tagRefObj* parent, NkMAIDObject* child, int32_t id);
bool Command_Close(const tagRefObj* object);

/** Lets the module work once. */
bool Command_Async(const tagRefObj* object);
/** Not polled. */
bool Command_Abort(const tagRefObj* object, MaidCompletionProc completion, MaidRef reference);
/** Not polled. */
bool Command_CapStart(const tagRefObj* object, uint32_t capability, MaidCompletionProc completion,
                      MaidRef reference);

/** Synchronous. `data` is a value, or the address of what the data type says; true for result 0 alone. */
bool Command_CapSet(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data);
bool Command_CapGet(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data);
bool Command_CapGetDefault(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data);

/** Synchronous: fetches the elements into the storage, whose address goes into the record's `data` (an
 *  NkMAIDArray or NkMAIDEnum, by the data type). The module may change the record's count and element size:
 *  they are to be compared with the storage before use. False, with the storage gone, when the module may
 *  still write to it. */
bool Command_CapGetArray(tagRefObj* object, uint32_t capability, uint32_t dataType, MaidParam data,
                         ElementStorage* storage);

/** Whether a command's result means that it will be, or has been, carried out. */
constexpr bool isAccepted(int32_t result) {
    return result == kMaidResultNoError || result == kMaidResultPending;
}

/** Lets the module work until the counter has reached `end`. False once the module does not let itself be
 *  polled any more, or too long after the object's camera has gone; true at once, without a poll, when the
 *  counter is there already. */
bool IdleLoop(const tagRefObj* object, const uint32_t* counter, uint32_t end);
/** The same, and false after kPollsAfterRefusal polls. */
bool IdleLoopAfterRefusal(const tagRefObj* object, const uint32_t* counter, uint32_t end);

}  // namespace nikon
