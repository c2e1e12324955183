/* Forwarder.h: what reached the forwarder of events. */
#pragma once

#include <cstdint>
#include <vector>

extern std::vector<int32_t> sentStatuses;
extern std::vector<int32_t> sentPercents;
