// Image files in a build without OpenImageIO (the 32-bit build): names of
// the usual image kinds are refused, so that they are never taken for raw
// frames.

#include <cctype>
#include <set>

#include "cli/command.h"
#include "cli/image_file.h"

namespace StrobeQuirk::Cli {
namespace {

std::string extensionOf(const std::string& path) {
  const std::size_t slash = path.rfind('/'), dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

[[noreturn]] void refuse(const std::string& path) {
  throw UsageError("cannot use " + path + ": this build of strobe-quirk has no image file support (raw frames only)");
}

}  // namespace

bool imageFilesAvailable() { return false; }

std::string imageFileSupport() { return "no image files in this build: raw frames only"; }

bool namesImageFile(const std::string& path) {
  static const std::set<std::string> kinds = {"png", "tif", "tiff", "exr", "gif", "jpg", "jpeg", "bmp",
                                              "tga", "webp", "dpx", "hdr", "ppm", "pgm", "psd", "jp2"};
  return kinds.count(extensionOf(path)) != 0;
}

bool namesAnimation(const std::string& path) { return extensionOf(path) == "gif"; }

ImageFileContents readImageFile(const std::string& path) { refuse(path); }

struct ImageFileWriter::State {};

ImageFileWriter::ImageFileWriter(const std::string& path, SampleDepth, double) { refuse(path); }
ImageFileWriter::~ImageFileWriter() = default;
AlphaStorage ImageFileWriter::alphaStorage() const { return AlphaStorage::Straight; }
bool ImageFileWriter::holdsManyFrames() const { return false; }
void ImageFileWriter::add(const Frame&) {}
void ImageFileWriter::finish() {}

}  // namespace StrobeQuirk::Cli
