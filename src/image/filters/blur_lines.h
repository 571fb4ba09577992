#pragma once
// The line filters of the Gaussian blur: Deriche's recursion run forward
// and backward along a set of parallel lines (the rows of the first pass,
// the columns of the second). Plain functions on memory, so that a filter
// node only has to cut the lines into shares and hand one to each worker.
//
// Two families exist. The scalar one filters one channel per call, all in
// double; the vector one (SSE2) filters the four channels of a pixel at
// once, with the feed-forward sums and the stores in single precision. The
// two round differently on purpose; docs/rounding.md, "Blur", says how.

#include <cstddef>
#include <cstdint>

#include "image/filters/deriche_coefficients.h"
#include "image/progress.h"

namespace OZ::Image {

// How the samples of an image are read and stored.
enum class BlurSamples {
  Float32,               // depth 32
  Unsigned16White32768,  // depth 16 with white 32768: stores stop at 32768
  Unsigned16OtherWhite,  // depth 16 with any other white: stores stop at 65535
  Unsigned8,             // every other depth
};
BlurSamples blurSamples(int depth, std::uint32_t white);

// Chosen once per image: Vector when bit 64 of the processor flags is set.
enum class BlurFamily { Scalar, Vector };

// A set of parallel lines of four-component pixels. Line k starts at
// source + k × sourceLineStep; sample i of it lies sourceSampleStep × i
// further. Strides are in bytes and may be negative.
struct BlurLines {
  const unsigned char* source;
  std::int64_t sourceLineStep;
  std::int64_t sourceSampleStep;
  std::int64_t n;  // samples per source line
  unsigned char* output;
  std::int64_t outputLineStep;
  std::int64_t outputSampleStep;
  std::int64_t count;  // output samples per line; first + count <= n
  std::int64_t first;  // the source sample of output sample 0; 0 <= first
};

// Bytes of scratch one worker needs for lines of up to n samples. The
// scalar family needs one double per sample; the vector family works on up
// to 16 lines at a time, each needing four doubles per sample, and keeps
// their recent history beside them.
std::size_t blurScratchBytes(BlurFamily family, std::int64_t n);

// Filters lines [begin, end) of the set with one axis' coefficients, using
// scratch of blurScratchBytes(family, lines.n) bytes (any alignment).
//
// Progress: line k has the absolute coordinate lineCoordinate0 + k (its row
// in the first pass, its column in the second). Right after a line whose
// coordinate is a multiple of 32 has been written, and before any later
// line is touched, progress.report(progressBase + k, progressTotal) is
// called. The first pass passes its rows counted from the intermediate's
// top and progressBase 0; the second its columns counted from the output's
// left and progressBase = the intermediate's height. A report may throw
// (an abort): the exception leaves at once, and the lines written so far
// stay written.
void blurLineRange(BlurFamily family, BlurSamples samples, const BlurLines& lines,
                   const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                   std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                   std::int64_t progressTotal);

// The family entries behind blurLineRange, one per level, each instantiated
// in its own level's file.
template <class Level>
void blurScalarLines(BlurSamples samples, const BlurLines& lines, const DericheCoefficients& coefficients,
                     std::int64_t begin, std::int64_t end, void* scratch, std::int32_t lineCoordinate0,
                     Progress& progress, std::int64_t progressBase, std::int64_t progressTotal);
template <class Level>
std::size_t blurVectorScratchBytes(std::int64_t n);
template <class Level>
void blurVectorLines(BlurSamples samples, const BlurLines& lines, const DericheCoefficients& coefficients,
                     std::int64_t begin, std::int64_t end, void* scratch, std::int32_t lineCoordinate0,
                     Progress& progress, std::int64_t progressBase, std::int64_t progressTotal);

}  // namespace OZ::Image
