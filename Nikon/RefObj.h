/* RefObj.h: our side of a module's tree of objects: one record for each opened object.
 *
 * The root stands for the module, its children for sources (cameras), theirs for items (pictures), theirs for
 * data objects (image, thumbnail). Whatever lets the module work may change the tree: while a command is
 * polled, events add children, remove them and replace capability lists. So:
 *   - What GetCapInfo answers is good until the next command.
 *   - A record that is removed loses its entry point, parent, children and camera at once: every command on
 *     it fails with kNoEntryPoint. Its memory goes with the innermost CallScope of the thread (or the thread
 *     itself), so whoever holds the pointer within the same scope can still ask it, and look it up anew.
 *
 * Thread: one at a time for a tree; nothing is locked here.
 * Owns:   a record owns its object record, capability list and array of children, all from malloc. Children
 *         belong to the tree. The root belongs to whoever made it, in memory of any kind; what hangs on it is
 *         given up with Close_Module or FreeTree, never by clearing the record: the module may still name it.
 */
#pragma once

#include <cstdint>

#include "MAID.h"

namespace nikon {

struct CameraData;

struct tagRefObj {
    MaidEntryPoint entryPoint = nullptr;  // null: no module is loaded, or the object is closed
    uint32_t inheritedRef = 0;            // from the parent; never looked into
    CameraData* cameraData = nullptr;     // on the source of a selected camera
    NkMAIDObject* object = nullptr;       // its clientRef is this record
    int32_t id = 0;                       // within the parent
    tagRefObj* parent = nullptr;          // null at the root, and after removal
    uint32_t childCount = 0;
    tagRefObj** children = nullptr;  // exactly childCount; null when there are none
    uint32_t capCount = 0;
    NkMAIDCapInfo* capInfo = nullptr;  // exactly capCount; null when they could not be had
    uint32_t capListNumber = 0;        // another one for each list that was stored

    MaidRef reference = nullptr;  // by which the module names this record to our callbacks; never an address
    bool isClosing = false;       // being closed: no children are opened, no removal begins again
    bool isRetired = false;       // out of the tree; its memory goes with the scope
};

/** The id of a record that has not been given one. */
constexpr int32_t kNoChildId = 0x8000;

/** A module with so many children of one object, or a tree so deep, is not one that we can follow: what goes
 *  beyond is refused as if memory had run out. */
constexpr uint32_t kMostChildren = 1U << 16;
constexpr uint32_t kDeepestLevel = 8;
/** More capability descriptions than any camera has; a longer list counts as one that found no memory. */
constexpr uint32_t kMostCapabilities = 1U << 16;

/** Clears every field but the entry point, and frees nothing; the id becomes kNoChildId. */
void InitRefObj(tagRefObj* object);

/** The description, until the next command; null when there is none, or no record. */
const NkMAIDCapInfo* GetCapInfo(const tagRefObj* object, uint32_t capability);
/** Whether the capability exists and allows any of the operations (kMaidOperation…). */
bool CheckCapabilityOperation(const tagRefObj* object, uint32_t capability, uint32_t operations);

/** Both null for no such child, or no record. */
tagRefObj* GetRefChildPtr_ID(const tagRefObj* object, int32_t id);
tagRefObj* GetRefChildPtr_Index(const tagRefObj* object, uint32_t index);

/** Asks the module for its list of capabilities, again and again while the list changes underway.
 *  The list that was there is replaced, and freed, at the end. True with a null list when there is no memory.
 */
bool EnumCapabilities(tagRefObj* object, uint32_t* count, NkMAIDCapInfo** list);
/** Has the module announce the object's children by events. */
bool EnumChildrten(tagRefObj* object);

/** Opens a child and everything that belongs to it. False, with a line in the log, when it cannot be opened.
 */
bool AddChild(tagRefObj* parent, int32_t id);
/** Closes a child and all below it. The source of a selected camera stays: its camera is marked inactive, the
 *  host is told, and true is answered. False when there is no such child, or when it cannot be closed; then
 *  it stays. */
bool RemoveChild(tagRefObj* parent, int32_t id);

/** Has the module report the object's progress and events to us, as far as it lets itself be told. */
bool SetProc(tagRefObj* object);
/** Ends that. */
bool ResetProc(tagRefObj* object);

/** Frees all that a root owns, without a word to the module, and clears it as far as InitRefObj does. */
void FreeTree(tagRefObj* root);

}  // namespace nikon
