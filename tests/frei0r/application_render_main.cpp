// Renders one frame through the application's plug-in, with the command
// line of `strobe-quirk render` for 8-bit B, G, R, A frames, so that the
// host checks can switch to that command without other change:
//   --frame N [--quirk-time T] [--random-quirk R] [--increase-quirky]
//   [--unmasked] --format bgra8 --size WxH IN OUT

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "frei0r/application_render.h"

namespace {

[[noreturn]] void fail(const std::string& message, int status) {
  std::fprintf(stderr, "application_render: %s\n", message.c_str());
  std::exit(status);
}

}  // namespace

int main(int argc, char** argv) {
  Frei0rTests::QuirkControls controls;
  long frame = 0, width = 0, height = 0;
  bool haveFrame = false;
  std::vector<std::string> paths;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) fail(argument + " needs a value", 2);
      return argv[++i];
    };
    if (argument == "--frame") {
      frame = std::strtol(value().c_str(), nullptr, 10);
      haveFrame = true;
    } else if (argument == "--quirk-time") {
      controls.quirkTime = std::strtod(value().c_str(), nullptr);
    } else if (argument == "--random-quirk") {
      controls.randomQuirk = std::strtod(value().c_str(), nullptr);
    } else if (argument == "--increase-quirky") {
      controls.increaseQuirky = true;
    } else if (argument == "--unmasked") {
      controls.unmasked = true;
    } else if (argument == "--format") {
      if (value() != "bgra8") fail("only --format bgra8 is rendered here", 2);
    } else if (argument == "--size") {
      if (std::sscanf(value().c_str(), "%ldx%ld", &width, &height) != 2 || width <= 0 || height <= 0)
        fail("--size wants WxH", 2);
    } else {
      paths.push_back(argument);
    }
  }
  if (!haveFrame || width == 0 || paths.size() != 2) fail("usage: --frame N [...] --format bgra8 --size WxH IN OUT", 2);

  std::ifstream in(paths[0], std::ios::binary);
  const std::vector<unsigned char> input((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (input.size() != std::size_t(width) * std::size_t(height) * 4) fail(paths[0] + ": not one frame of that size", 2);
  try {
    const std::vector<unsigned char> output =
        Frei0rTests::renderInApplication(input, std::int32_t(width), std::int32_t(height), std::int32_t(frame), controls);
    std::ofstream out(paths[1], std::ios::binary);
    out.write(reinterpret_cast<const char*>(output.data()), std::streamsize(output.size()));
    if (!out) fail(paths[1] + ": cannot write", 1);
  } catch (const std::exception& error) {
    fail(error.what(), 1);
  }
  return 0;
}
