/* Export.h: marks what libTarvoPlatform.so shows to the helper and to the device-facing libraries.
 *
 * All of them must see the same event queues and handlers, so the platform is one shared library, and
 * everything without this mark stays private to it.
 */
#pragma once

#define TARVO_PLATFORM_API __attribute__((visibility("default")))
