/* Function.h: all that the camera logic uses of the module layer. */
#pragma once

#include "Nikon/MaidCapabilities.h"
#include "Nikon/MaidCommands.h"
#include "Nikon/MaidModule.h"
#include "Nikon/MaidProcesses.h"
#include "Nikon/RefObj.h"
#include "Nikon/debug.h"
