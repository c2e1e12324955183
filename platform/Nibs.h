/* Nibs.h: the compiled-in descriptions. Nibs.cpp is written by the build from platform/resources/. */
#pragma once

#include <array>

struct OpaqueNib {
    const char* name;
    const char* text;
};

const std::array<OpaqueNib, 1>& compiledNibs();
