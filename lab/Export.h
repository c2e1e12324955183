/* Export.h: marks what the simulated libraries may call of the lab. */
#pragma once

#define LAB_EXPORT __attribute__((visibility("default")))
