#pragma once
// The line filters of the Gaussian blur: Deriche's recursion run forward
// and backward along a set of parallel lines (the rows of the first pass,
// the columns of the second). Plain functions on memory, so that a filter
// node only has to cut the lines into shares and hand one to each worker.
//
// Two families exist. The scalar one filters one channel per call, all in
// double; the vector one filters the four channels of a pixel at once, with
// the feed-forward sums and the stores in single precision. The two round
// differently on purpose; docs/rounding.md, "Blur", says how. The vector
// family has an SSE2 and an AVX build, which give identical results.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "image/filters/deriche_coefficients.h"
#include "image/filters/desaturation_kernels.h"
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
// Within the vector family each call of blurLineRange runs the AVX build
// when the flags also hold kFlagAVX, else the SSE2 one.
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

// Lines whose pixels are known to hold three equal colour channels carry
// only one colour channel and alpha: the colour filtered once stands for
// all three. Such samples are four-component pixels, of which one colour
// component and alpha are read and all four written (the colour to all
// three of its components), or pairs of colour and alpha, the compact form
// between the two passes. Every channel is filtered exactly as the
// four-channel lines filter it, so the bytes are theirs.
//
// The first pass may also read its pixels through the levels and the full
// desaturation that would have made them (`levels`): float pixels, vector
// family only. Each pixel's pair is then what those two would have stored,
// colour and alpha, provided every pixel would have taken the
// desaturation's short route; the caller makes sure of that.
//
// Footage is mostly opaque, and then alpha is one value in every pixel.
// A first pass that reads through the levels may watch for that
// (`alphaWatch`): it clears the watch's `proven` whenever a pixel's alpha
// is not shown to equal that of the source's first pixel, and while the
// watch holds it filters the colour alone, every row's alpha being the
// same filtered constant line. A second pass
// told that every row of its pairs holds the same alpha row
// (`sameAlphaEveryRow`) knows each column's alpha to be one value, whose
// filtered column it computes once and reuses; where neighbouring columns
// share that value it filters their colour alone.
struct AlphaWatch {
  std::atomic<bool> proven{true};
};

struct BlurGrey {
  bool intoPairs;   // pixels in, pairs out (the first pass); else pairs in, pixels out
  bool alphaFirst;  // in pixels, alpha is component 0, else component 3
  const LevelsFirst* levels = nullptr;
  AlphaWatch* alphaWatch = nullptr;  // first pass through the levels
  bool sameAlphaEveryRow = false;    // second pass, float
};

// Bytes of scratch one worker needs for lines of up to n samples. The
// scalar family needs one double per sample; the vector family works on up
// to 16 lines at a time, each needing four floats and four doubles per
// sample (BlurVectorScratch).
std::size_t blurScratchBytes(BlurFamily family, std::int64_t n);

// The vector family's scratch, the same at every level: strips of up to
// `lines` lines side by side; for every sample of the strip, each line's
// sample (four floats) and one result (four doubles); four more such rows
// at each end for the edge values, and an edge sum per line. 64 bytes of
// slack let the level align the block itself.
//
// Behind the walk's rows lies one pixel per sample for the filtered column
// of a constant line (BlurGrey::sameAlphaEveryRow), at `constantLine`.
struct BlurVectorScratch {
  static constexpr int lines = 16;
  static constexpr std::size_t bytesPerSample = lines * (16 + 32);
  static constexpr std::size_t fixedBytes = 64 + lines * 16 + 8 * bytesPerSample;
  static constexpr std::size_t constantLineBytesPerSample = 16;
  static unsigned char* constantLine(void* scratch, std::int64_t n) {
    return static_cast<unsigned char*>(scratch) + fixedBytes + std::size_t(n) * bytesPerSample;
  }
};

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

// blurLineRange for lines of colour and alpha alone: the same family, the
// same scratch, the same reports.
void blurGreyLineRange(BlurFamily family, BlurSamples samples, const BlurLines& lines, const BlurGrey& grey,
                       const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                       std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                       std::int64_t progressTotal);

// The family entries behind blurLineRange and blurGreyLineRange, each
// instantiated in its own level's file: blurScalarLines<ScalarLevel>,
// blurVectorLines<SSE2Level> and blurVectorLines<AVXLevel>, and their grey
// counterparts.
template <class Level>
void blurScalarLines(BlurSamples samples, const BlurLines& lines, const DericheCoefficients& coefficients,
                     std::int64_t begin, std::int64_t end, void* scratch, std::int32_t lineCoordinate0,
                     Progress& progress, std::int64_t progressBase, std::int64_t progressTotal);
template <class Level>
void blurVectorLines(BlurSamples samples, const BlurLines& lines, const DericheCoefficients& coefficients,
                     std::int64_t begin, std::int64_t end, void* scratch, std::int32_t lineCoordinate0,
                     Progress& progress, std::int64_t progressBase, std::int64_t progressTotal);
template <class Level>
void blurGreyScalarLines(BlurSamples samples, const BlurLines& lines, const BlurGrey& grey,
                         const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                         std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                         std::int64_t progressTotal);
template <class Level>
void blurGreyVectorLines(BlurSamples samples, const BlurLines& lines, const BlurGrey& grey,
                         const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                         std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                         std::int64_t progressTotal);

}  // namespace OZ::Image
