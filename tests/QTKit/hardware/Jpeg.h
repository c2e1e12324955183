/* Jpeg.h: pictures coded as webcams code them: 4:2:2, each picture by itself. */
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

namespace test {

using Rgb = std::array<uint8_t, 3>;
std::vector<uint8_t> jpegOf(int width, int height, const std::function<Rgb(int x, int y)>& colour);

}  // namespace test
