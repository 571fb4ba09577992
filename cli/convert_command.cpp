// strobe-quirk convert: one raw image into another format, through the image
// record's own per-component conversions.

#include <iostream>

#include "cli/commands.h"
#include "cli/session.h"
#include "image/image_buffer.h"

namespace StrobeQuirk::Cli {
namespace {

int runConvert(const std::vector<std::string>& words) {
  const Arguments arguments(words, {{"--format", true}, {"--to", true}, {"--size", true}});
  arguments.expectPositionals(2, "IN and OUT");
  const RawFormat& from = rawFormat(arguments.required("--format"));
  const RawFormat& to = rawFormat(arguments.required("--to"));
  const Size size = parseSize(arguments.required("--size"), from);
  checkFrameBytes(to, size);
  const std::string& inPath = arguments.positionals()[0];
  const std::string& outPath = arguments.positionals()[1];
  checkOutputPath(outPath, {inPath});
  const std::vector<unsigned char> bytes = readRawImage(inPath, from, size);

  Session session;
  // Both worlds are the application's, as layers are: the records wrap them.
  PF_EffectWorld* input = session.layer(from, size, bytes);
  PF_EffectWorld* output = session.layer(to, size);
  {
    OZ::Host::AE::Host::Image source(&session.host, input), target(&session.host, output);
    target.copyFrom(source);
  }
  writeFileAtomically(outPath, [&](std::ostream& out) { writeRawImage(out, *output, to); });
  std::cout << "converted " << size.width << "x" << size.height << " " << from.name << " (" << bytes.size()
            << " bytes) to " << to.name << " (" << rawBytes(to, size) << " bytes): " << outPath << "\n";
  return 0;
}

}  // namespace

const Command kConvertCommand{
    "convert", "convert a raw image between pixel formats",
    "usage: strobe-quirk convert --format F --to G --size WxH IN OUT\n"
    "\n"
    "Reads the raw image IN of format F and size WxH, converts every pixel to\n"
    "format G, and writes the raw image OUT. Raw images hold rows top to bottom,\n"
    "tightly packed; 16-bit and float components are little-endian.\n"
    "Conversions truncate; floats above 1.0 become white, below 0 black.\n"
    "\n"
    "formats: argb8, bgra8 (255 white), argb16, bgra16 (32768 white),\n"
    "         argb32, bgra32 (float, 1.0 white)\n"
    "sizes: each side 1 to 32768, at most 1 GiB per frame in either format (256 MiB\n"
    "       in the 32-bit build). OUT must not be IN.\n",
    runConvert};

}  // namespace StrobeQuirk::Cli
