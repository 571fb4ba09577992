#pragma once
// A contact sheet: frames in a grid, left to right and top to bottom, each
// shrunk by a whole factor, laid over a checkerboard so that transparency
// shows, with its frame number under it.

#include <cstdint>
#include <string>

#include "cli/frame.h"

namespace StrobeQuirk::Cli {

class ContactSheet {
 public:
  static constexpr int kGap = 4;          // between tiles and around them
  static constexpr int kLabelScale = 2;   // pixels per font cell
  static constexpr int kLabelHeight = 5 * kLabelScale + 4;
  static constexpr int kChecker = 8;      // side of a checkerboard square

  // For `count` frames of `frameSize`, each shrunk by `shrink` (1: as they
  // are), `columns` to a row.
  ContactSheet(int count, Size frameSize, int columns, int shrink);

  Size size() const { return size_; }
  Size tileSize() const { return tile_; }
  // Frame `number` in place `index` (0 is the top left). Every frame must
  // have the size given at the start.
  void place(int index, std::int32_t number, const Frame& frame);
  // The sheet as opaque argb8.
  const Frame& sheet() const { return sheet_; }

  // A shrink factor that keeps tiles at most `widest` pixels wide.
  static int shrinkFor(Size frameSize, int widest);

 private:
  Size frameSize_, tile_, size_;
  int columns_, shrink_;
  Frame sheet_;
};

}  // namespace StrobeQuirk::Cli
