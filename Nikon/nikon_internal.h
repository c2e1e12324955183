/* nikon_internal.h: what the entry points' files share among themselves.
 *
 * Thread: the one that holds the module's lock.
 */
#pragma once

#include <cstdint>

#include "Nikon/CameraData.h"
#include "Nikon/Function.h"
#include "TarvoRemote/jni_env.h"

namespace nikon {

struct NikonModule;

/** The rest of a module's start, once its root has an entry point; start.cpp. Logs what fails, and frees it.
 */
bool openLoadedModule(NikonModule& module);

/** A new check for pictures begins: none has come, and a shot is taken to be one picture. */
void beginImages(CameraData& camera);
/** checkForImages, on a camera that is active; images.cpp. */
jint fetchImages(CameraData& camera);

/** One frame. Its header goes into the camera's record; its JPEG data into a new array, if one is wanted and
 *  there is any; live_view.cpp. */
jbyteArray fetchFrame(JNIEnv* env, CameraData& camera, bool makeArray);

/** False when it cannot be read; the value is then left alone. */
bool readUnsigned(tagRefObj* object, uint32_t capability, uint32_t* value);

}  // namespace nikon
