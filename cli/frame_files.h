#pragma once
// Where the frames of a run come from and go to: raw frames, whose format
// and size the command line gives, or image files, which bring their own
// and whose colour is made straight for the effect and put back into the
// file kind's convention afterwards.

#include <optional>
#include <string>

#include "cli/frame.h"
#include "cli/image_file.h"

namespace StrobeQuirk::Cli {

// The --format and --size of raw frames, when given.
struct RawLayout {
  const RawFormat* format;
  Size size;
};

struct InputFrame {
  Frame frame;                        // straight colour
  std::optional<SampleDepth> stored;  // for image files: what the file stores
};

// An image file when the name says so, else a raw frame of `raw`; a raw
// frame without --format and --size is a UsageError.
InputFrame readFrame(const std::string& path, const std::optional<RawLayout>& raw);
// Refuses what readFrame would refuse, reading as little as it can: the
// length of a raw file, the whole of an image file (a truncated one shows
// only there).
void checkFrame(const std::string& path, const std::optional<RawLayout>& raw);

// One output file: an image file when the name says so (of one frame, or
// of many for an animation), else a raw frame in the frame's own format.
class FrameWriter {
 public:
  FrameWriter(const std::string& path, SampleDepth depth, double framesPerSecond = 24);
  bool holdsManyFrames() const;
  void add(const Frame& straight);
  // Nothing is on disk before this.
  void finish();

 private:
  std::string path_;
  std::optional<ImageFileWriter> image_;
  std::optional<Frame> raw_;
};

// The depth an image file gets for frames of this raw format.
SampleDepth sampleDepthOf(const RawFormat& format);

}  // namespace StrobeQuirk::Cli
