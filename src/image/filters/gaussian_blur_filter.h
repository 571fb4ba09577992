#pragma once
// Deriche's recursive Gaussian, along every row and then every column, so
// that a pixel costs the same whatever the deviation. Orders 1 and 2 give
// the derivatives of the Gaussian along an axis.
//
// When the input vouches for three equal colour channels (a full
// desaturation before the blur), one colour channel and alpha are filtered
// and the colour is written to all three: the same bytes for half the
// work, and an intermediate of half the size, holding the two side by side.
//
// A full desaturation that only the blur reads is taken into it, with the
// levels it took in. In float, where the levels allow, the first pass then
// reads the layer's pixels through both in registers and the grey image is
// never stored; otherwise the blur renders the desaturation itself first.

#include <cmath>
#include <type_traits>
#include <typeinfo>

#include "image/filters/blur_filter_base.h"
#include "image/filters/blur_lines.h"
#include "image/filters/deriche_coefficients.h"
#include "image/filters/hsvcc_filter.h"
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

  // The desaturation, and then whatever it takes in itself.
  int absorbInput(FilterBase<Host>* input) override {
    if (desaturation) return desaturation->absorbInput(input);
    if (!shortcutEnabled(kShortcutDesaturationIntoBlur) || !shortcutEnabled(kShortcutGreyBlur) ||
        !shortcutEnabled(kShortcutDesaturation) || typeid(*input) != typeid(HSVCCFilter<Host>) ||
        input->consumers.size() != 1)
      return 0;
    auto* candidate = static_cast<HSVCCFilter<Host>*>(input);
    if (!candidate->fullDesaturation()) return 0;
    desaturation = candidate;
    return 1;
  }

  std::uint64_t progressUnits() const override { return 1 + (desaturation ? desaturation->progressUnits() : 0); }

  // With a desaturation taken in, room for its image too.
  std::uint64_t extraMemory(int pass, const Rect& rect, const PixelDescriptor& descriptor) const override {
    const std::uint64_t own = BlurFilterBase<Host>::extraMemory(pass, rect, descriptor);
    if (!desaturation) return own;
    return own + BlurFilterBase<Host>::extraMemory(pass, this->inputRegion(rect, 0), descriptor);
  }

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
    run.family = queryProcessorFlags() & kFlagSSE2 ? BlurFamily::Vector : BlurFamily::Scalar;
    const bool sameLayout =
        inputImages[0]->depth == output.depth && channelOrder(inputImages[0]->format) == channelOrder(output.format);
    const FilterBase<Host>* greySource = this->inputs[0];
    const Image* greyImage = inputImages[0];
    Image desaturated(host);  // the desaturation's image, where the first pass cannot read through it
    ProgressSplit split(host);
    if (desaturation) {
      run.levels = desaturation->levelsTaken();
      if (!run.levels || !readsThrough(*run.levels, run.family, output.depth, sameLayout)) {
        run.levels = nullptr;
        split.desaturationFirst(desaturation->progressUnits());
        // Into the blur's own output where it covers what the first pass
        // reads, as the graph would have placed it: the first pass is done
        // with it before the second writes there.
        if (contains(output.bounds, run.sourceView.bounds) && output.format == inputImages[0]->format)
          desaturated.viewOf(output, run.sourceView.bounds);
        else
          desaturated.allocateLike(run.sourceView, run.sourceView.bounds);
        Image* const source[] = {inputImages[0]};
        desaturation->process(host, desaturated, source);
        run.sourceView.viewOf(desaturated, run.sourceView.bounds);
        greySource = desaturation;
        greyImage = &desaturated;
        split.desaturationDone();
      }
    }
    run.grey =
        run.levels || (shortcutEnabled(kShortcutGreyBlur) && sameLayout && greySource->equalColourChannels(*greyImage));
    run.alphaFirst = channelOrder(output.format) == ChannelOrder::AlphaFirst;
    // Pairs of colour and alpha take half a pixel each.
    const Rect intermediate =
        run.grey ? Rect{run.rows.x0, run.rows.y0, run.rows.x0 + (width(run.rows) + 1) / 2, run.rows.y1} : run.rows;
    run.intermediate.allocateLike(run.sourceView, intermediate);
    run.samples = blurSamples(output.depth, formatWhite(output.format));
    run.progressTotal = std::int64_t(height(run.rows)) + width(out);
    run.watchAlpha = run.levels && shortcutEnabled(kShortcutOneAlpha);
    host->runThreads(&Run::rowPass, &run, 0);
    run.sameAlphaEveryRow = run.watchAlpha && run.alphaWatch.proven;
    host->runThreads(&Run::columnPass, &run, 0);
  }

 private:
  // Whether the first pass may read float pixels through the levels and the
  // desaturation: every pixel must then take the desaturation's short route,
  // which steps aside only for a spread between 0 and 2^-64. With an offset
  // of at least 2^-40 every value the levels give is a multiple of 2^-64:
  // a result under 2^-41 comes from a product within a factor two of
  // −offset, both multiples of 2^-64 at that size, so the sum is exact; a
  // larger result is a float of at least 2^-41, a multiple of 2^-64 itself.
  // Two channels then differ by 0 or by at least 2^-64. Only the vector
  // levels (and their alpha) are read through.
  static bool readsThrough(const LevelsFirst& levels, BlurFamily family, int depth, bool sameLayout) {
    return depth == 32 && sameLayout && family == BlurFamily::Vector && std::fabs(levels.offset) >= 0x1p-40f;
  }

  // The node's progress units while the blur renders the desaturation
  // itself: the desaturation's first, then the blur's own. Reading
  // through, the blur reports over all of them.
  struct ProgressSplit {
    explicit ProgressSplit(Host* host) : nodes(host->progressLevels[kNodeCountLevel]), share(nodes.share) {}
    void desaturationFirst(std::uint64_t desaturationUnits) {
      if (nodes.fixed) return;
      units = desaturationUnits;
      nodes.share = units;
    }
    void desaturationDone() {
      if (!units) return;
      nodes.current += units;
      nodes.share = share - units;
      moved = true;
    }
    // The evaluation reports the node's end over all its units.
    ~ProgressSplit() {
      if (!units) return;
      if (moved) nodes.current -= units;
      nodes.share = share;
    }
    std::remove_reference_t<decltype(Host::progressLevels[0])>& nodes;
    const std::uint64_t share;
    std::uint64_t units = 0;
    bool moved = false;
  };

  HSVCCFilter<Host>* desaturation = nullptr;  // taken in, with any levels it took in

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
        blurGreyLineRange(family, samples, lines,
                          BlurGrey{firstPass, alphaFirst, firstPass ? levels : nullptr,
                                   firstPass && watchAlpha ? &alphaWatch : nullptr, !firstPass && sameAlphaEveryRow},
                          coefficients, first, last, scratch.data(), line0, progress, progressBase, progressTotal);
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
    const LevelsFirst* levels = nullptr;  // the first pass reads through levels and the desaturation
    bool watchAlpha = false;              // and watches alpha while it does
    AlphaWatch alphaWatch;
    bool sameAlphaEveryRow = false;  // the watch held: every row of the intermediate has the same alpha row
    DericheCoefficients x, y;
    BlurFamily family = BlurFamily::Scalar;
    BlurSamples samples = BlurSamples::Unsigned8;
    std::int64_t progressTotal = 0;
  };
};

}  // namespace OZ::Image
