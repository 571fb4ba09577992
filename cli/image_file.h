#pragma once
// Image files as frames of the effect: PNG, TIFF, OpenEXR, GIF, JPEG and the
// other kinds OpenImageIO reads and writes, chosen by the file name's
// extension. Names ending in .raw stay raw frames. In a build without
// OpenImageIO, image file names are refused with a line that says so.

#include <memory>
#include <string>

#include "cli/frame.h"

namespace StrobeQuirk::Cli {

// What a file stores per component.
enum class SampleDepth { Byte, Short, Half, Float };

bool imageFilesAvailable();
// One line on what this build reads and writes besides raw frames.
std::string imageFileSupport();

// True when the extension names an image file kind (case aside), .raw not.
bool namesImageFile(const std::string& path);

struct ImageFileContents {
  Frame frame;         // argb8, argb16 or argb32, by what the file stores
  SampleDepth stored;  // half and float both come as argb32
  bool premultiplied;  // colour multiplied by alpha, as OpenEXR's always is
};

// The first image of the file. Components are scaled as file_components.h
// says; a file without alpha gets an opaque one; grey becomes three equal
// colours. A missing, unreadable or truncated file is a UsageError naming it.
ImageFileContents readImageFile(const std::string& path);

// How a file kind keeps colour and alpha.
enum class AlphaStorage {
  Straight,       // PNG, TIFF (as unassociated alpha), and most others
  Premultiplied,  // OpenEXR
  OverBlack,      // no real alpha (JPEG, GIF): colour times alpha, no alpha
};

// One image file being written, of one frame or, for kinds that hold
// several (an animated GIF), of many. It is put together in memory and
// written through writeFileAtomically by finish(): until then, and when
// anything fails, the file on disk stays as it was.
class ImageFileWriter {
 public:
  // UsageError when no writer takes the name's extension. `depth` is asked
  // for; a kind that cannot store it stores what it can (PNG: 8 or 16 bits,
  // OpenEXR: half or float). Animations show `framesPerSecond`.
  ImageFileWriter(const std::string& path, SampleDepth depth, double framesPerSecond = 24);
  ~ImageFileWriter();
  ImageFileWriter(const ImageFileWriter&) = delete;
  ImageFileWriter& operator=(const ImageFileWriter&) = delete;

  AlphaStorage alphaStorage() const;
  bool holdsManyFrames() const;
  // A frame with its colour as alphaStorage() says. Frames of an animation
  // must have one size.
  void add(const Frame& frame);
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// True when the name's kind holds many frames in one file as an animation.
bool namesAnimation(const std::string& path);

}  // namespace StrobeQuirk::Cli
