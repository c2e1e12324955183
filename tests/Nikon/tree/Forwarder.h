/* Forwarder.h: what reached the forwarder of events. */
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

extern std::vector<int32_t> sentStatuses;
extern std::vector<int32_t> sentPercents;
/** Looks on whenever a status is sent. */
extern std::function<void()> atStatus;
