// strobe-quirk sheet: a contact sheet of a range of frames, to see a run's
// pulses at a glance.

#include "cli/commands.h"
#include "cli/contact_sheet.h"
#include "cli/frame_files.h"
#include "cli/frame_pattern.h"
#include "cli/interruption.h"

namespace StrobeQuirk::Cli {
namespace {

int runSheet(const std::vector<std::string>& words) {
  const InterruptCatcher catcher;
  const Arguments arguments(words, {{"--frames", true}, {"--columns", true}, {"--tile-width", true},
                                    {"--format", true}, {"--size", true}});
  arguments.expectPositionals(2, "IN_PATTERN and OUT");
  const FrameRange frames = parseFrameRange(arguments.required("--frames"), "--frames");
  const FramePattern input(arguments.positionals()[0], "IN_PATTERN");
  const std::string& output = arguments.positionals()[1];
  const long columns = arguments.integer("--columns", 8);
  if (columns < 1 || columns > 1000) throw UsageError("--columns must be 1 to 1000");
  const long widest = arguments.integer("--tile-width", 160);
  if (widest < 1 || widest > kMaxFrameSide) throw UsageError("--tile-width must be 1 to 32768");
  std::optional<RawLayout> raw;
  if (arguments.has("--format") || arguments.has("--size")) {
    const RawFormat& format = rawFormat(arguments.required("--format"));
    raw = RawLayout{&format, parseSize(arguments.required("--size"), format)};
  }
  const std::int64_t count = std::int64_t(frames.last) - frames.first + 1;
  if (count > 10000) throw UsageError("a contact sheet holds at most 10000 frames");

  // Every input and the output before anything is read in full.
  std::vector<std::string> inputs;
  for (std::int64_t frame = frames.first; frame <= frames.last; ++frame) {
    inputs.push_back(input.path(std::int32_t(frame)));
    checkFrame(inputs.back(), raw);
  }
  checkOutputPath(output, inputs);
  FrameWriter writer(output, SampleDepth::Byte);

  std::optional<ContactSheet> sheet;
  Size first{0, 0};
  for (std::int64_t frame = frames.first; frame <= frames.last; ++frame) {
    stopIfInterrupted();
    const std::string& path = inputs[std::size_t(frame - frames.first)];
    const Frame layer = readFrame(path, raw).frame;
    if (!sheet) {
      sheet.emplace(int(count), layer.size, int(columns), ContactSheet::shrinkFor(layer.size, int(widest)));
      const Size size = sheet->size();
      if (size.width > kMaxFrameSide || size.height > kMaxFrameSide)
        throw UsageError("the contact sheet would be " + std::to_string(size.width) + "x" +
                         std::to_string(size.height) + ", over 32768 on a side: fewer frames, --columns or --tile-width");
      checkFrameBytes(rawFormat("argb8"), size);
      first = layer.size;
    }
    if (layer.size.width != first.width || layer.size.height != first.height)
      throw UsageError(path + " is " + std::to_string(layer.size.width) + "x" + std::to_string(layer.size.height) +
                       ", not " + std::to_string(first.width) + "x" + std::to_string(first.height) +
                       " as the first frame: all frames of a sheet must have one size");
    sheet->place(int(frame - frames.first), std::int32_t(frame), layer);
  }
  stopIfInterrupted();
  writer.add(sheet->sheet());
  writer.finish();
  return 0;
}

}  // namespace

const Command kSheetCommand{
    "sheet", "write a contact sheet of a range of frames",
    "usage: strobe-quirk sheet --frames A-B [--columns N] [--tile-width W]\n"
    "                          [--format F --size WxH] IN_PATTERN OUT\n"
    "\n"
    "Lays frames A to B of a sequence side by side in a grid, N to a row (default\n"
    "8), left to right and top to bottom, each over a checkerboard so that\n"
    "transparency shows, with its frame number under it. Frames wider than W\n"
    "pixels (default 160) are shrunk by a whole factor, averaging the pixels.\n"
    "\n"
    "IN_PATTERN names the frames: one %d or %0Nd (N 1 to 9) or one run of # for the\n"
    "frame number (clip/%04d.png, clip/####.png). Image files (PNG, TIFF, OpenEXR,\n"
    "...) bring their own size and depth; raw frames need --format F and --size WxH.\n"
    "All frames must have one size. OUT is an image file by its extension (an 8-bit\n"
    "opaque image: sheet.png), or raw argb8 of the sheet's size otherwise.\n"
    "Exit status: 0 when the sheet is written; 2 for bad input, with nothing\n"
    "written; 130 when stopped with Ctrl-C, with nothing written.\n",
    runSheet};

}  // namespace StrobeQuirk::Cli
