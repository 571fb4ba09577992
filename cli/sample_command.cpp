// strobe-quirk sample: a generated test image or clip, so that everything
// can be tried without material at hand.

#include <iostream>

#include "cli/commands.h"
#include "cli/frame_pattern.h"
#include "cli/sample_clip.h"

namespace StrobeQuirk::Cli {
namespace {

void writeBytes(const std::string& path, const std::vector<unsigned char>& bytes) {
  writeFileAtomically(path, [&](std::ostream& out) {
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
  });
}

int runSample(const std::vector<std::string>& words) {
  const Arguments arguments(words, {{"--format", true}, {"--size", true}, {"--frames", true}});
  arguments.expectPositionals(1, arguments.has("--frames") ? "OUT_PATTERN" : "OUT");
  const RawFormat& format = rawFormat(arguments.required("--format"));
  const Size size = parseSize(arguments.required("--size"), format);
  const std::string& path = arguments.positionals()[0];
  if (!arguments.has("--frames")) {
    checkOutputPath(path);
    const std::vector<unsigned char> bytes = sampleImage(format, size);
    writeBytes(path, bytes);
    std::cout << "wrote a " << size.width << "x" << size.height << " " << format.name << " sample (" << bytes.size()
              << " bytes): " << path << "\n";
    return 0;
  }
  const FrameRange frames = parseFrameRange(arguments.required("--frames"), "--frames");
  const FramePattern pattern(path, "OUT_PATTERN");
  for (std::int64_t frame = frames.first; frame <= frames.last; ++frame) checkOutputPath(pattern.path(std::int32_t(frame)));
  for (std::int64_t frame = frames.first; frame <= frames.last; ++frame)
    writeBytes(pattern.path(std::int32_t(frame)), sampleClipFrame(format, size, std::int32_t(frame)));
  std::cout << "wrote frames " << frames.first << " to " << frames.last << " of the " << size.width << "x"
            << size.height << " " << format.name << " sample clip: " << pattern.path(frames.first)
            << (frames.last > frames.first ? " ... " + pattern.path(frames.last) : std::string()) << "\n";
  return 0;
}

}  // namespace

const Command kSampleCommand{"sample", "write a generated sample image or clip",
                             "usage: strobe-quirk sample --format F --size WxH OUT\n"
                             "       strobe-quirk sample --frames A-B --format F --size WxH OUT_PATTERN\n"
                             "\n"
                             "Writes a generated raw image: colour ramps, a bright disc in the middle,\n"
                             "alpha fading toward the corners.\n"
                             "\n"
                             "With --frames, writes frames A to B of a clip instead, one file each, named by\n"
                             "OUT_PATTERN (one %d or %0Nd for the frame number, %% for a percent sign:\n"
                             "clip/%04d.raw): bright shapes moving over a dark background that is opaque in\n"
                             "the middle and half transparent at the sides. The clip loops every 48 frames\n"
                             "(0-47 is all of it) and is the same bytes on every machine.\n"
                             "\n"
                             "formats: argb8, bgra8, argb16, bgra16, argb32, bgra32\n"
                             "sizes: each side 1 to 32768, at most 1 GiB per frame (256 MiB in the\n"
                             "       32-bit build)\n",
                             runSample};

}  // namespace StrobeQuirk::Cli
