#pragma once
// The effect as the application renders it: the built After Effects
// plug-in, loaded and driven through the stand-in host, one whole frame of
// 8-bit B, G, R, A pixels in and out. The frei0r module is held to these
// bytes.

#include <cstdint>
#include <vector>

namespace Frei0rTests {

struct QuirkControls {
  double quirkTime = 3.0;
  double randomQuirk = 0.0;
  bool increaseQuirky = false;
  bool unmasked = false;
};

// The output covers the whole frame: what the plug-in leaves outside its
// result rectangle is transparent black. std::runtime_error with the
// plug-in's message when the render fails.
std::vector<unsigned char> renderInApplication(const std::vector<unsigned char>& bgra, std::int32_t width,
                                               std::int32_t height, std::int32_t frame,
                                               const QuirkControls& controls);

}  // namespace Frei0rTests
