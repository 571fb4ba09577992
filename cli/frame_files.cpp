#include "cli/frame_files.h"

#include "cli/alpha_convention.h"
#include "cli/command.h"

namespace StrobeQuirk::Cli {
namespace {

const RawLayout& needRaw(const std::string& path, const std::optional<RawLayout>& raw) {
  if (!raw) throw UsageError(path + " is a raw frame (not an image file by its name): give --format and --size");
  return *raw;
}

}  // namespace

InputFrame readFrame(const std::string& path, const std::optional<RawLayout>& raw) {
  if (!namesImageFile(path)) {
    const RawLayout& layout = needRaw(path, raw);
    return {Frame{layout.format, layout.size, readRawImage(path, *layout.format, layout.size)}, std::nullopt};
  }
  ImageFileContents contents = readImageFile(path);
  if (contents.premultiplied) contents.frame = unmultiplied(contents.frame);
  return {std::move(contents.frame), contents.stored};
}

void checkFrame(const std::string& path, const std::optional<RawLayout>& raw) {
  if (!namesImageFile(path)) {
    const RawLayout& layout = needRaw(path, raw);
    checkRawImage(path, *layout.format, layout.size);
  } else {
    readImageFile(path);
  }
}

SampleDepth sampleDepthOf(const RawFormat& format) {
  return format.depth == 8 ? SampleDepth::Byte : format.depth == 16 ? SampleDepth::Short : SampleDepth::Float;
}

FrameWriter::FrameWriter(const std::string& path, SampleDepth depth, double framesPerSecond) : path_(path) {
  if (namesImageFile(path)) image_.emplace(path, depth, framesPerSecond);
}

bool FrameWriter::holdsManyFrames() const { return image_ && image_->holdsManyFrames(); }

void FrameWriter::add(const Frame& straight) {
  if (!image_) {
    raw_ = straight;
    return;
  }
  image_->add(image_->alphaStorage() == AlphaStorage::Straight ? straight : premultiplied(straight));
}

void FrameWriter::finish() {
  if (image_) {
    image_->finish();
    return;
  }
  if (!raw_) throw std::logic_error("no frame to write");
  writeFileAtomically(path_, [&](std::ostream& out) {
    out.write(reinterpret_cast<const char*>(raw_->bytes.data()), std::streamsize(raw_->bytes.size()));
  });
}

}  // namespace StrobeQuirk::Cli
