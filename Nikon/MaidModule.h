/* MaidModule.h: a module's beginning and end.
 *
 * Thread: one at a time for a tree.
 */
#pragma once

#include "Nikon/RefObj.h"

namespace nikon {

enum LoadResult {
    kLoaded = 0,
    kBundlePathIsNoText = -10,
    kNoBundle = -11,
    kNoExecutable = -12,
    kNoMaidEntryPoint = -13,
};

/** Loads a module for the life of the process and stores its entry point in the root.
 *
 * The driver library is opened first; a module that can do without it is served without it. A LoadResult.
 */
int Load_Module(tagRefObj* root, const char* libraryPath, const char* bundlePath);

/** Closes the three levels below the root, then the root, whose record stays, cleared. False at the first
 *  object that does not let itself be closed; what was closed before it is gone. True for a root that is
 *  closed already. */
bool Close_Module(tagRefObj* root);

}  // namespace nikon
