#pragma once
// Deriche's recursive Gaussian, along every row and then every column, so
// that a pixel costs the same whatever the deviation. Orders 1 and 2 give
// the derivatives of the Gaussian along an axis.
//
// When the input vouches for three equal colour channels (a full
// desaturation before the blur), one colour channel and alpha are filtered
// and the colour is written to all three: the same bytes for half the
// work, and an intermediate of half the size, holding the two side by side.

#include <cmath>

#include "image/filters/blur_filter_base.h"
#include "image/filters/blur_lines.h"
#include "image/filters/deriche_coefficients.h"
#include "image/filters/processor_flags.h"
#include "image/private_block.h"
#include "image/shortcuts.h"

namespace OZ::Image {

template <class Host>
class GaussianBlurFilter final : public BlurFilterBase<Host> {
 public:
  using BlurFilterBase<Host>::BlurFilterBase;
  using Image = ImageBuffer<Host>;

  const char* filterName() const override { return "gaussianBlur"; }
  bool canReuseInput(std::size_t) const override { return true; }
  void processBand(const Rect&, std::uint64_t) override {}

  void process(Host* host, Image& output, Image* const* inputImages) override {
    this->host = host;
    this->output = &output;
    this->inputImages = inputImages;
    Run run(host, output);
    run.x = DericheCoefficients(this->sigmaX, this->orderX);
    run.y = DericheCoefficients(this->sigmaY, this->orderY);
    const std::int32_t rx = std::int32_t(std::ceil(double(this->sigmaX) * 3.5));
    const std::int32_t ry = std::int32_t(std::ceil(double(this->sigmaY) * 3.5));
    const Rect& out = output.bounds;
    run.sourceView.viewOf(*inputImages[0], Rect{out.x0 - rx, out.y0 - ry, out.x1 + rx, out.y1 + ry});
    // The first pass covers only the output's columns, but every row the
    // second pass will read.
    run.rows = Rect{out.x0, run.sourceView.bounds.y0, out.x1, run.sourceView.bounds.y1};
    // Nothing to read near the output (an input without pixels): the blur of
    // transparent black is transparent black.
    if (!run.sourceView.hasPixels() || isEmpty(run.rows)) {
      if (output.hasPixels()) output.clear(output.bounds);
      return;
    }
    run.grey = shortcutEnabled(kShortcutGreyBlur) && inputImages[0]->depth == output.depth &&
               channelOrder(inputImages[0]->format) == channelOrder(output.format) &&
               this->inputs[0]->equalColourChannels(*inputImages[0]);
    run.alphaFirst = channelOrder(output.format) == ChannelOrder::AlphaFirst;
    // Pairs of colour and alpha take half a pixel each.
    const Rect intermediate =
        run.grey ? Rect{run.rows.x0, run.rows.y0, run.rows.x0 + (width(run.rows) + 1) / 2, run.rows.y1} : run.rows;
    run.intermediate.allocateLike(run.sourceView, intermediate);
    run.family = queryProcessorFlags() & kFlagSSE2 ? BlurFamily::Vector : BlurFamily::Scalar;
    run.samples = blurSamples(output.depth, formatWhite(output.format));
    run.progressTotal = std::int64_t(height(run.rows)) + width(out);
    host->runThreads(&Run::rowPass, &run, 0);
    host->runThreads(&Run::columnPass, &run, 0);
  }

 private:
  // One process call's working state; frees both images on every way out.
  struct Run {
    Run(Host* host, Image& output) : host(host), output(output), sourceView(host), intermediate(host) {}

    // Rows of the intermediate: each row of the source view, filtered along x.
    static void rowPass(std::uint64_t share, std::uint64_t shares, std::uint64_t threadIndex, void* data) {
      Run& run = *static_cast<Run*>(data);
      const Rect& source = run.sourceView.bounds;
      const Rect& target = run.rows;
      const std::int64_t pixel = bytesPerPixel(run.output.depth);
      BlurLines lines{run.sourceView.pixelAddress(source.x0, source.y0), run.sourceView.rowStride(), pixel,
                      width(source), run.intermediate.pixelAddress(target.x0, target.y0), run.intermediate.rowStride(),
                      run.grey ? pixel / 2 : pixel, width(target), std::int64_t(target.x0) - source.x0};
      const Rect rows = bandOf(target, share, shares);
      run.filterShare(lines, true, run.x, rows.y0, rows.y1, target.y0, threadIndex, 0);
    }

    // Columns of the output: each column of the intermediate, filtered along y.
    static void columnPass(std::uint64_t share, std::uint64_t shares, std::uint64_t threadIndex, void* data) {
      Run& run = *static_cast<Run*>(data);
      const Rect& source = run.rows;
      const Rect& target = run.output.bounds;
      const std::int64_t pixel = bytesPerPixel(run.output.depth);
      BlurLines lines{run.intermediate.pixelAddress(target.x0, source.y0), run.grey ? pixel / 2 : pixel,
                      run.intermediate.rowStride(), height(source), run.output.pixelAddress(target.x0, target.y0),
                      pixel, run.output.rowStride(), height(target), std::int64_t(target.y0) - source.y0};
      // The band rule, applied to columns.
      const Rect columns = bandOf(Rect{target.y0, target.x0, target.y1, target.x1}, share, shares);
      run.filterShare(lines, false, run.y, columns.y0, columns.y1, target.x0, threadIndex, height(source));
    }

    // The lines at coordinates [begin, end), line 0 being at line0, with a
    // scratch block of this worker's own.
    void filterShare(const BlurLines& lines, bool firstPass, const DericheCoefficients& coefficients,
                     std::int32_t begin, std::int32_t end, std::int32_t line0, std::uint64_t threadIndex,
                     std::int64_t progressBase) {
      if (end <= begin) return;
      ScopedPrivateBlock<Host> scratch(*host, blurScratchBytes(family, lines.n));
      HostProgress<Host> progress(host, threadIndex);
      const std::int64_t first = std::int64_t(begin) - line0, last = std::int64_t(end) - line0;
      if (grey)
        blurGreyLineRange(family, samples, lines, BlurGrey{firstPass, alphaFirst}, coefficients, first, last,
                          scratch.data(), line0, progress, progressBase, progressTotal);
      else
        blurLineRange(family, samples, lines, coefficients, first, last, scratch.data(), line0, progress,
                      progressBase, progressTotal);
    }

    Host* host;
    Image& output;
    Image sourceView;
    Image intermediate;  // pixels, or pairs of colour and alpha when grey
    Rect rows = emptyRect;  // what the intermediate holds: the output's columns of every source row
    bool grey = false;
    bool alphaFirst = false;
    DericheCoefficients x, y;
    BlurFamily family = BlurFamily::Scalar;
    BlurSamples samples = BlurSamples::Unsigned8;
    std::int64_t progressTotal = 0;
  };
};

}  // namespace OZ::Image
