#pragma once
// The walk of the blur's vector family, shared by its level files (SSE2 and
// AVX): strips of lines filtered side by side, sample by sample. Only level
// files include this header, and everything in it is templated on the
// level, whose BlurLanes supply the instructions; the walk fixes what is
// computed and in which order, so every level stores the same bytes.
//
// Per sample and line, for the four channels at once (docs/rounding.md,
// "Blur"): the feed-forward sum in float, left to right; widened to double;
// then − d1·h1 − d2·h2 − d3·h3 − d4·h4 in double, in that order. The output
// is float(p + q) × norm.

#include <xmmintrin.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "image/filters/blur_lines.h"
#include "image/filters/processor_flags.h"

namespace OZ::Image {

// What a level supplies as static members of BlurLanes<Level> (all four
// channels of a pixel) and of the lanes of other sample forms:
//   linesPerGroup     lines whose samples share one float vector (1, 2 or 4)
//   doublesPerGroup   Doubles that hold a group's samples
//   Floats            one sample of each line of a group, as floats
//   Doubles           the samples of one or more lines, as doubles
//   Feedback          d1..d4 as operands of the feedback
//   set, add, mul, divide on Floats, lane by lane
//   load<Kind, Adjacent>(sample, lineStep, lines), store<Kind, Adjacent>(sample,
//                     lineStep, lines, v): the sample of the group's first line
//                     at `sample`, that of line k lineStep × k bytes further;
//                     a group of fewer lines repeats its last. With Adjacent
//                     the group is whole and lineStep is the size of a sample
//   feedbackOf(c)     d1..d4 of the coefficients
//   widen(v, doubles) the group's floats as doubles, exactly
//   subtract(ff, h1, h2, h3, h4, d)   ff − d1·h1 − d2·h2 − d3·h3 − d4·h4
//   sumToFloats(p, q) float(p + q) for each line of the group, one rounding
// Each lane computes what it would alone: a channel's bytes do not depend
// on which lanes, or how many, it shares its vectors with.
//
// Lanes may also hold state, which the walk copies into each range:
//   atSample(j)       before the stores of output sample j
//   settle()          after a range's loads, to hand on what they saw
template <class Level>
struct BlurLanes;

// Lines are filtered in strips, side by side. The recursion of one line is
// a long chain of dependent multiplies and subtractions; the lines of a
// strip are independent and fill its latency. Columns are adjacent in
// memory, and a strip of 16 of them reads whole cache lines of each row;
// rows are separate streams, and eight of them fill the latency while the
// working rows of a strip stay in the second-level cache.
//
// Every sample of the strip has a row of cells in the scratch, one cell per
// group of lines, which holds the sample (floats) and a result (doubles).
// The forward pass fills the rows in order with x[i] and p[i]; each step
// reads the three samples and four results before it from the rows behind.
// The backward pass goes down again: where no output is due it loads x[j]
// itself, and it leaves q[j] in place of p[j] once p[j] has been added, so
// its own history lies in the rows ahead. Four rows before the first sample
// and four after the last hold the edge values, so that no step needs a
// case of its own, and nothing is stored twice.
//
// Adjacent: the lines of the set are neighbouring pixels, in the source and
// in the output, so that the pixels of a group lie side by side.
template <class Lanes, BlurSamples Kind, int StripLines, bool Adjacent>
class BlurVectorWalk {
 public:
  // Lines [begin, end) of the set, in strips of at most StripLines; see
  // blurLineRange.
  static void filterLines(const BlurLines& lines, const DericheCoefficients& coefficients, std::int64_t begin,
                          std::int64_t end, void* scratch, std::int32_t lineCoordinate0, Progress& progress,
                          std::int64_t progressBase, std::int64_t progressTotal, std::int64_t stripPrefetchBytes,
                          const Lanes& lanes = Lanes{}) {
    const Coefficients k(coefficients, lines.n, lanes);
    Walk w(lines, scratch);
    std::int64_t line = begin;
    while (line < end) {
      // A strip ends at the next line that reports, so that the report comes
      // right after that line and before any later line is touched.
      const std::int64_t count = stripLines(line, end, lineCoordinate0);
      w.startStrip(line, int(count), stripPrefetchBytes * count);
      filterStrip(w, k);
      line += count;
      if ((std::int64_t(lineCoordinate0) + line - 1) % 32 == 0) progress.report(progressBase + line - 1, progressTotal);
    }
    settle(k.lanes);
  }

  // The lines a strip of [line, end) covers, the strip ending at the next
  // line that reports.
  static std::int64_t stripLines(std::int64_t line, std::int64_t end, std::int32_t lineCoordinate0) {
    const std::int64_t coordinate = std::int64_t(lineCoordinate0) + line;
    const std::int64_t untilReport = ((-coordinate) % 32 + 32) % 32 + 1;
    return std::min({std::int64_t(StripLines), end - line, untilReport});
  }

 private:
  using Floats = typename Lanes::Floats;
  using Doubles = typename Lanes::Doubles;
  using Feedback = typename Lanes::Feedback;
  static constexpr int kGroup = Lanes::linesPerGroup;
  static constexpr int kDoubles = Lanes::doublesPerGroup;
  static_assert(kGroup == 1 || kGroup == 2 || kGroup == 4 || kGroup == 8);
  static_assert(StripLines % kGroup == 0);
  static constexpr int kGroups = StripLines / kGroup;

  // One group of lines at one sample.
  struct Cell {
    Doubles p[kDoubles];  // p, or q once the backward pass has passed
    Floats x;
  };
  static_assert(BlurVectorScratch::bytesPerSample >= kGroups * sizeof(Cell));
  static_assert(BlurVectorScratch::fixedBytes >= 64 + kGroups * sizeof(Floats) + 8 * kGroups * sizeof(Cell));

  // Cells of the rows behind (−) or ahead (+).
  static constexpr std::ptrdiff_t kRow = kGroups;

  // A strip of columns reads a few cache lines from each row, a whole row
  // apart: too far for the hardware to see the stream, so the lines of a
  // row some samples ahead are asked for explicitly.
  static constexpr std::int64_t kPrefetchDistance = 12;

  struct Coefficients {
    Coefficients(const DericheCoefficients& c, std::int64_t n, const Lanes& lanes)
        : lanes(lanes),
          n0(Lanes::set(float(c.n0))),
          n1(Lanes::set(float(c.n1))),
          n2(Lanes::set(float(c.n2))),
          n3(Lanes::set(float(c.n3))),
          m1(Lanes::set(float(c.m1))),
          m2(Lanes::set(float(c.m2))),
          m3(Lanes::set(float(c.m3))),
          m4(Lanes::set(float(c.m4))),
          norm(Lanes::set(float(c.norm))),
          feedback(Lanes::feedbackOf(c)),
          weights(c.edgeWeights.data()),
          edgeCount(c.order == 0 ? std::min<std::int64_t>(n, std::int64_t(c.edgeWeights.size())) : 0),
          estimates(c.order == 0) {
      // The weights are summed as floats, in the order they are applied.
      float sum = 0.0f;
      for (std::int64_t i = 0; i < edgeCount; ++i) sum += float(weights[i]);
      weightSum = sum;
      // y = (1/norm + n0) × e × 0.5, all in single precision.
      edgeFactor = 1.0f / float(c.norm) + float(c.n0);
    }

    Lanes lanes;  // how samples are read and stored; most lanes hold nothing
    Floats n0, n1, n2, n3, m1, m2, m3, m4, norm;
    Feedback feedback;
    const double* weights;
    std::int64_t edgeCount;
    bool estimates;
    float weightSum;
    float edgeFactor;
  };

  // The set of lines, the scratch, and the strip being filtered.
  struct Walk {
    Walk(const BlurLines& lines, void* scratch) : lines(lines) {
      auto* base =
          reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(scratch) + 63) & ~std::uintptr_t(63));
      edges = reinterpret_cast<Floats*>(base);
      row0 = reinterpret_cast<Cell*>(edges + kGroups) + 4 * kRow;
    }

    // Lines [line0, line0 + lineCount). A group that the strip fills only
    // in part takes its last line again: those lanes compute the same
    // values and store them to the same sample.
    void startStrip(std::int64_t line0, int lineCount, std::int64_t stripPrefetchBytes) {
      source = lines.source + line0 * lines.sourceLineStep;
      output = lines.output + line0 * lines.outputLineStep;
      fullGroups = lineCount / kGroup;
      partial = lineCount % kGroup;
      prefetchBytes = stripPrefetchBytes;
    }

    const BlurLines& lines;
    Floats* edges;
    Cell* row0;                             // the row of sample 0; rows −4 .. n + 3 exist
    const unsigned char* source = nullptr;  // sample 0 of the strip's first line
    unsigned char* output = nullptr;        // output sample 0 of the strip's first line
    int fullGroups = 0;
    int partial = 0;                 // lines of the last group, when the strip does not fill it
    std::int64_t prefetchBytes = 0;  // bytes of a row that a strip of columns covers; 0 for rows
  };

  // What the sample loops read of the walk, copied to locals: the vector
  // types may alias anything, so fields read through a reference would be
  // read again after every store.
  struct Cursor {
    explicit Cursor(const Walk& w)
        : source(w.source),
          output(w.output),
          row0(w.row0),
          sampleStep(w.lines.sourceSampleStep),
          partnerStep(w.lines.sourceLineStep),
          groupStep(kGroup * w.lines.sourceLineStep),
          outputSampleStep(w.lines.outputSampleStep),
          partnerOutputStep(w.lines.outputLineStep),
          groupOutputStep(kGroup * w.lines.outputLineStep),
          n(w.lines.n),
          first(w.lines.first),
          prefetchBytes(w.prefetchBytes),
          fullGroups(w.fullGroups),
          partial(w.partial) {}

    const unsigned char* source;
    unsigned char* output;
    Cell* row0;
    std::int64_t sampleStep, partnerStep, groupStep;
    std::int64_t outputSampleStep, partnerOutputStep, groupOutputStep;
    std::int64_t n, first, prefetchBytes;
    int fullGroups;
    int partial;
  };

  static void settle(const Lanes& lanes) {
    if constexpr (requires { lanes.settle(); }) lanes.settle();
  }

  // Inlined by force: as a call, the optimiser finds it has no effect
  // (prefetches are hints) and drops it.
  [[gnu::always_inline]] static inline void prefetch(const void* from, std::int64_t bytes) {
    const char* start = static_cast<const char*>(from);
    for (std::int64_t offset = 0; offset < bytes; offset += 64) _mm_prefetch(start + offset, _MM_HINT_T0);
    _mm_prefetch(start + bytes - 1, _MM_HINT_T0);
  }

  // The weighted mean of each line's first (or last) samples, and the
  // settled recursion for it: y = (1/norm + n0) × e × 0.5. Zero at orders
  // other than 0. The four rows before sample 0 (or after sample n − 1)
  // take them: the line continues at e, settled at y.
  static void startEdge(const Walk& w, const Coefficients& k, bool fromEnd) {
    const std::int64_t n = w.lines.n, sampleStep = w.lines.sourceSampleStep;
    const std::int64_t groupStep = kGroup * w.lines.sourceLineStep, partnerStep = w.lines.sourceLineStep;
    const int groups = w.fullGroups + int(w.partial != 0);
    for (int g = 0; g < groups; ++g) w.edges[g] = Lanes::set(0.0f);
    if (k.estimates) {
      // Sample by sample across the strip; each line still sums its samples in order.
      const std::int64_t step = fromEnd ? -sampleStep : sampleStep;
      const unsigned char* sample = w.source + (fromEnd ? (n - 1) * sampleStep : 0);
      for (std::int64_t i = 0; i < k.edgeCount; ++i, sample += step) {
        const Floats weight = Lanes::set(float(k.weights[i]));
        const unsigned char* pixel = sample;
        for (int g = 0; g < w.fullGroups; ++g, pixel += groupStep)
          w.edges[g] = Lanes::add(
              w.edges[g], Lanes::mul(k.lanes.template load<Kind, Adjacent>(pixel, partnerStep, kGroup), weight));
        if (w.partial)
          w.edges[w.fullGroups] =
              Lanes::add(w.edges[w.fullGroups],
                         Lanes::mul(k.lanes.template load<Kind, false>(pixel, partnerStep, w.partial), weight));
      }
      if (k.weightSum != 0.0f)
        for (int g = 0; g < groups; ++g) w.edges[g] = Lanes::divide(w.edges[g], Lanes::set(k.weightSum));
    }
    Cell* edgeRow = fromEnd ? w.row0 + n * kRow : w.row0 - 4 * kRow;
    for (int g = 0; g < groups; ++g) {
      const Floats e = w.edges[g];
      const Floats y = Lanes::mul(Lanes::mul(Lanes::set(k.edgeFactor), e), Lanes::set(0.5f));
      Doubles wide[kDoubles];
      Lanes::widen(y, wide);
      for (int r = 0; r < 4; ++r) {
        Cell& cell = edgeRow[r * kRow + g];
        cell.x = e;
        for (int l = 0; l < kDoubles; ++l) cell.p[l] = wide[l];
      }
    }
  }

  // One group, forward sample i: x[i] and
  //   p[i] = n0·x[i] + n1·x[i−1] + n2·x[i−2] + n3·x[i−3], summed in float in
  //   that order, widened, then − d1·p[i−1] − d2·p[i−2] − d3·p[i−3] − d4·p[i−4]
  //   in double,
  // into the group's cell of row i.
  template <bool Whole>
  [[gnu::always_inline]] static inline void forwardCell(Cell* cell, const unsigned char* pixel,
                                                        std::int64_t partnerStep, int lines, const Coefficients& k,
                                                        const Feedback& d) {
    const Floats x = k.lanes.template load<Kind, Whole>(pixel, partnerStep, lines);
    Floats ff = Lanes::mul(k.n0, x);
    ff = Lanes::add(ff, Lanes::mul(k.n1, cell[-kRow].x));
    ff = Lanes::add(ff, Lanes::mul(k.n2, cell[-2 * kRow].x));
    ff = Lanes::add(ff, Lanes::mul(k.n3, cell[-3 * kRow].x));
    cell->x = x;
    Doubles wide[kDoubles];
    Lanes::widen(ff, wide);
#pragma GCC unroll 2
    for (int l = 0; l < kDoubles; ++l)
      cell->p[l] = Lanes::subtract(wide[l], cell[-kRow].p[l], cell[-2 * kRow].p[l], cell[-3 * kRow].p[l],
                                   cell[-4 * kRow].p[l], d);
  }

  // One group, backward sample j:
  //   q[j] = m1·x[j+1] + m2·x[j+2] + m3·x[j+3] + m4·x[j+4] in float, widened,
  //   then − d1·q[j+1] − ... − d4·q[j+4] in double.
  // Without Store, x[j] is loaded and q[j] kept. With Store, x[j] is there
  // already, v = float(p[j] + q[j]) × norm (sum and product each rounded
  // once) is stored, and q[j] replaces p[j].
  template <bool Store, bool Whole>
  [[gnu::always_inline]] static inline void backwardCell(Cell* cell, const unsigned char* pixel,
                                                         std::int64_t partnerStep, unsigned char* out,
                                                         std::int64_t partnerOutputStep, int lines,
                                                         const Coefficients& k, const Feedback& d) {
    Floats ff = Lanes::mul(k.m1, cell[kRow].x);
    ff = Lanes::add(ff, Lanes::mul(k.m2, cell[2 * kRow].x));
    ff = Lanes::add(ff, Lanes::mul(k.m3, cell[3 * kRow].x));
    ff = Lanes::add(ff, Lanes::mul(k.m4, cell[4 * kRow].x));
    if constexpr (!Store) cell->x = k.lanes.template load<Kind, Whole>(pixel, partnerStep, lines);
    Doubles wide[kDoubles], q[kDoubles];
    Lanes::widen(ff, wide);
#pragma GCC unroll 2
    for (int l = 0; l < kDoubles; ++l)
      q[l] =
          Lanes::subtract(wide[l], cell[kRow].p[l], cell[2 * kRow].p[l], cell[3 * kRow].p[l], cell[4 * kRow].p[l], d);
    if constexpr (Store)
      k.lanes.template store<Kind, Whole>(out, partnerOutputStep, lines,
                                          Lanes::mul(Lanes::sumToFloats(cell->p, q), k.norm));
#pragma GCC unroll 2
    for (int l = 0; l < kDoubles; ++l) cell->p[l] = q[l];
  }

  // Forward samples [from, to) of every line of the strip.
  static void forwardRange(const Walk& w, const Coefficients& coefficients, std::int64_t from, std::int64_t to) {
    const Cursor c(w);
    const Coefficients k = coefficients;  // a local copy stays in registers
    const Feedback d = k.feedback;
    for (std::int64_t i = from; i < to; ++i) {
      const unsigned char* pixel = c.source + i * c.sampleStep;
      Cell* cell = c.row0 + i * kRow;
      if (c.prefetchBytes && i + kPrefetchDistance < c.n)
        prefetch(pixel + kPrefetchDistance * c.sampleStep, c.prefetchBytes);
      if (c.fullGroups == kGroups) {
        // The usual strip: a loop of known length, unrolled.
#pragma GCC unroll 16
        for (int g = 0; g < kGroups; ++g, ++cell, pixel += c.groupStep)
          forwardCell<Adjacent>(cell, pixel, c.partnerStep, kGroup, k, d);
      } else {
        for (int g = 0; g < c.fullGroups; ++g, ++cell, pixel += c.groupStep)
          forwardCell<Adjacent>(cell, pixel, c.partnerStep, kGroup, k, d);
        if (c.partial) forwardCell<false>(cell, pixel, c.partnerStep, c.partial, k, d);
      }
    }
    settle(k.lanes);
  }

  // Backward samples j from `from` down to `to`, both included.
  template <bool Store>
  static void backwardRange(const Walk& w, const Coefficients& coefficients, std::int64_t from, std::int64_t to) {
    const Cursor c(w);
    const Coefficients k = coefficients;  // a local copy stays in registers
    const Feedback d = k.feedback;
    for (std::int64_t j = from; j >= to; --j) {
      const unsigned char* pixel = c.source + j * c.sampleStep;
      Cell* cell = c.row0 + j * kRow;
      unsigned char* out = Store ? c.output + (j - c.first) * c.outputSampleStep : nullptr;
      if (Store && c.prefetchBytes && j - kPrefetchDistance >= c.first)
        prefetch(out - kPrefetchDistance * c.outputSampleStep, c.prefetchBytes);
      const std::int64_t groupOutputStep = Store ? c.groupOutputStep : 0;
      if constexpr (Store && requires { k.lanes.atSample(j); }) k.lanes.atSample(j);
      if (c.fullGroups == kGroups) {
        // The usual strip: a loop of known length, unrolled.
#pragma GCC unroll 16
        for (int g = 0; g < kGroups; ++g, ++cell, pixel += c.groupStep, out += groupOutputStep)
          backwardCell<Store, Adjacent>(cell, pixel, c.partnerStep, out, c.partnerOutputStep, kGroup, k, d);
      } else {
        for (int g = 0; g < c.fullGroups; ++g, ++cell, pixel += c.groupStep, out += groupOutputStep)
          backwardCell<Store, Adjacent>(cell, pixel, c.partnerStep, out, c.partnerOutputStep, kGroup, k, d);
        if (c.partial)
          backwardCell<Store, false>(cell, pixel, c.partnerStep, out, Store ? c.partnerOutputStep : 0, c.partial, k, d);
      }
    }
    if constexpr (!Store) settle(k.lanes);
  }

  // The strip's lines, each exactly as if alone. The forward pass stops at
  // the last output sample and the output is stored during the backward
  // pass: neither changes a stored value.
  static void filterStrip(const Walk& w, const Coefficients& k) {
    const std::int64_t first = w.lines.first, count = w.lines.count, n = w.lines.n;
    if (count <= 0) return;
    startEdge(w, k, false);
    forwardRange(w, k, 0, first + count);
    startEdge(w, k, true);
    backwardRange<false>(w, k, n - 1, first + count);
    backwardRange<true>(w, k, first + count - 1, first);
  }
};

// The entry of each vector level, instantiated in that level's file.
template <class Level>
void blurVectorLines(BlurSamples samples, const BlurLines& lines, const DericheCoefficients& coefficients,
                     std::int64_t begin, std::int64_t end, void* scratch, std::int32_t lineCoordinate0,
                     Progress& progress, std::int64_t progressBase, std::int64_t progressTotal) {
  noteLevelRun(Level::level);
  const auto magnitude = [](std::int64_t step) { return step < 0 ? -step : step; };
  const bool columns = magnitude(lines.sourceLineStep) < magnitude(lines.sourceSampleStep);
  auto run = [&]<BlurSamples Kind>() {
    const std::int64_t pixelBytes = Kind == BlurSamples::Float32 ? 16 : Kind == BlurSamples::Unsigned8 ? 4 : 8;
    const bool adjacent = lines.sourceLineStep == pixelBytes && lines.outputLineStep == pixelBytes;
    using Lanes = BlurLanes<Level>;
    if (columns && adjacent)
      BlurVectorWalk<Lanes, Kind, 16, true>::filterLines(lines, coefficients, begin, end, scratch, lineCoordinate0,
                                                         progress, progressBase, progressTotal, pixelBytes);
    else if (columns)
      BlurVectorWalk<Lanes, Kind, 16, false>::filterLines(lines, coefficients, begin, end, scratch, lineCoordinate0,
                                                          progress, progressBase, progressTotal,
                                                          magnitude(lines.sourceLineStep));
    else
      BlurVectorWalk<Lanes, Kind, 8, false>::filterLines(lines, coefficients, begin, end, scratch, lineCoordinate0,
                                                         progress, progressBase, progressTotal, 0);
  };
  switch (samples) {
    case BlurSamples::Float32: return run.template operator()<BlurSamples::Float32>();
    case BlurSamples::Unsigned16White32768: return run.template operator()<BlurSamples::Unsigned16White32768>();
    case BlurSamples::Unsigned16OtherWhite: return run.template operator()<BlurSamples::Unsigned16OtherWhite>();
    case BlurSamples::Unsigned8: return run.template operator()<BlurSamples::Unsigned8>();
  }
}

// Lanes of colour and alpha alone (BlurGrey), one specialisation per level:
// from pixels into pairs (the first pass), or from pairs into pixels (the
// second).
template <class Level, bool IntoPairs, bool AlphaFirst>
struct BlurGreyLanes;

// Lanes of the first pass that read float pixels through levels and a full
// desaturation (BlurGrey::levels), one specialisation per vector level:
// the pair of each pixel is what those two filters would have stored. The
// vector levels map every colour channel to scale × c + offset and alpha to
// 1 × a + 0, each then limited to 0..1 (NaN to 0); the desaturation's
// colour is the largest of the three. Its operand order cannot matter
// here: the limits leave no NaN and no −0. Constructed from the levels.
template <class Level, bool AlphaFirst>
struct BlurGreyLevelsLanes;

// Lanes of the second pass over float pairs whose alpha is one value down
// each column (BlurGrey::sameAlphaEveryRow): the colour of eight columns
// filtered side by side, alpha taken from the filtered column of that
// value, `alphas` (pixels, one per output sample). Defined by the levels
// that have them (kColourLanes).
template <class Level, bool AlphaFirst>
struct BlurGreyColourLanes;

// Lanes of the first pass through the levels (BlurGreyLevelsLanes) that
// filter the colour of eight rows side by side, on the hope that every
// pixel has the alpha of the lines' first pixel: a load that sees another
// sets `sawOther` when the lanes settle. Alpha is stored from the filtered
// constant line of that value, `alphas` (pairs, one per output sample).
// Defined by the levels that have colour lanes.
template <class Level, bool AlphaFirst>
struct BlurGreyLevelsColourLanes;

template <class Level>
inline constexpr bool kColourLanes = false;
template <>
inline constexpr bool kColourLanes<AVXLevel> = true;

// Colour and alpha pairs of two mapped pixels side by side, one colour
// channel at a time: shuffle immediates that take the channel and alpha of
// each. The largest of the three picks is the grey pair; alpha meets only
// itself.
template <bool AlphaFirst>
struct GreyPicks {
  static constexpr int alpha = AlphaFirst ? 0 : 3;
  static constexpr int channel(int c) { return _MM_SHUFFLE(alpha, c, alpha, c); }
  static constexpr int first = channel(AlphaFirst ? 1 : 0);
  static constexpr int second = channel(AlphaFirst ? 2 : 1);
  static constexpr int third = channel(AlphaFirst ? 3 : 2);
};

// Strips of the grey walk: a group carries twice the lines of a
// four-channel group, so a strip needs twice the lines to keep as many
// recursions in flight; a group of colour alone, twice as many again,
// as long as the strip's working rows (kColourRowBytes per sample) stay
// in the second-level cache; past that, walking out to memory for them
// costs more than the latency that the lines hide.
inline constexpr int kGreyRowStrip = 16;
inline constexpr int kGreyColumnStrip = 32;
inline constexpr int kColourRowStrip = 32;
inline constexpr std::int64_t kColourRowBytes = 384;
inline constexpr std::int64_t kSecondLevelCacheBytes = 1 << 20;

struct SilentProgress final : Progress {
  void report(std::int64_t, std::int64_t) override {}
};

// The output of the grey walk for one line whose every sample is `sample`
// (a pixel for the first pass, a pair for the second), into `out` (pairs
// or pixels), over the output samples of `lines`: the walk's own lanes on
// a line of its own, so its bytes are what any line of that value stores.
template <class Level, bool IntoPairs, bool AlphaFirst>
void filterConstantLine(const float* sample, const BlurLines& lines, const DericheCoefficients& coefficients,
                        void* scratch, unsigned char* out) {
  constexpr std::int64_t kOutputBytes = IntoPairs ? 8 : 16;
  constexpr int kStrip = IntoPairs ? kGreyRowStrip : kGreyColumnStrip;
  const BlurLines constant{reinterpret_cast<const unsigned char*>(sample),
                           0,
                           0,
                           lines.n,
                           out,
                           kOutputBytes,
                           kOutputBytes,
                           lines.count,
                           lines.first};
  // At coordinate 1 the one line never reports.
  SilentProgress silent;
  BlurVectorWalk<BlurGreyLanes<Level, IntoPairs, AlphaFirst>, BlurSamples::Float32, kStrip, false>::filterLines(
      constant, coefficients, 0, 1, scratch, 1, silent, 0, 0, 0);
}

// The first pass through the levels with a watch, at a level with colour
// lanes. Footage is mostly opaque: strip by strip, the colour of the rows
// is filtered alone, and every row takes as alpha the filtered constant
// line of the first pixel's alpha, computed once. A strip that reads
// another alpha is filtered again as pairs, as is the rest of the range,
// and the watch no longer holds. Bytes and reports are the pair walk's.
template <class Level, bool AlphaFirst>
void blurOneAlphaRows(const BlurLines& lines, const LevelsFirst& levels, AlphaWatch& watch,
                      const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                      std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                      std::int64_t progressTotal) {
  using PairLanes = BlurGreyLevelsLanes<Level, AlphaFirst>;
  using ColourLanes = BlurGreyLevelsColourLanes<Level, AlphaFirst>;
  std::int64_t line = begin;
  if (watch.proven.load(std::memory_order_relaxed)) {
    unsigned char* alphas = BlurVectorScratch::constantLine(scratch, lines.n);
    bool sawOther = false;
    const ColourLanes lanes(levels, lines, alphas, &sawOther);
    const float alpha = lanes.expectedAlpha();
    const float pixel[4] = {alpha, alpha, alpha, alpha};
    filterConstantLine<Level, true, AlphaFirst>(pixel, lines, coefficients, scratch, alphas);
    auto walk = [&]<int StripLines>() {
      using Colours = BlurVectorWalk<ColourLanes, BlurSamples::Float32, StripLines, false>;
      SilentProgress silent;
      while (line < end && watch.proven.load(std::memory_order_relaxed)) {
        const std::int64_t count = Colours::stripLines(line, end, lineCoordinate0);
        Colours::filterLines(lines, coefficients, line, line + count, scratch, lineCoordinate0, silent, 0, 0, 0, lanes);
        if (sawOther) {
          watch.proven.store(false, std::memory_order_relaxed);
          return;
        }
        line += count;
        if ((std::int64_t(lineCoordinate0) + line - 1) % 32 == 0)
          progress.report(progressBase + line - 1, progressTotal);
      }
    };
    if (lines.n * kColourRowBytes <= kSecondLevelCacheBytes)
      walk.template operator()<kColourRowStrip>();
    else
      walk.template operator()<kColourRowStrip / 2>();
  }
  if (line < end)
    BlurVectorWalk<PairLanes, BlurSamples::Float32, kGreyRowStrip, false>::filterLines(
        lines, coefficients, line, end, scratch, lineCoordinate0, progress, progressBase, progressTotal, 0,
        PairLanes(levels));
}

// The second pass over float pairs with the same alpha row in every row:
// each column's alpha is its value in row 0 all the way down. Strip by
// strip, as the pair walk would cut them: where all the strip's columns
// share that value, their colour is filtered alone and their alpha is the
// filtered constant column of it, computed once for each value in turn;
// elsewhere the pair walk. Reports and bytes are the pair walk's.
template <class Level, bool AlphaFirst>
void blurSameAlphaColumns(const BlurLines& lines, const DericheCoefficients& coefficients, std::int64_t begin,
                          std::int64_t end, void* scratch, std::int32_t lineCoordinate0, Progress& progress,
                          std::int64_t progressBase, std::int64_t progressTotal) {
  using Pairs = BlurVectorWalk<BlurGreyLanes<Level, false, AlphaFirst>, BlurSamples::Float32, kGreyColumnStrip, true>;
  using Colours = BlurVectorWalk<BlurGreyColourLanes<Level, AlphaFirst>, BlurSamples::Float32, kGreyColumnStrip, true>;
  constexpr std::int64_t kPixelBytes = 16;
  auto alphaOf = [&](std::int64_t line) {
    std::uint32_t bits;
    std::memcpy(&bits, lines.source + line * lines.sourceLineStep + 4, 4);
    return bits;
  };
  unsigned char* alphas = BlurVectorScratch::constantLine(scratch, lines.n);
  bool filtered = false;
  std::uint32_t filteredBits = 0;
  for (std::int64_t line = begin; line < end;) {
    const std::int64_t count = Pairs::stripLines(line, end, lineCoordinate0);
    const std::uint32_t bits = alphaOf(line);
    bool shared = true;
    for (std::int64_t k = line + 1; k < line + count; ++k) shared = shared && alphaOf(k) == bits;
    if (!shared) {
      Pairs::filterLines(lines, coefficients, line, line + count, scratch, lineCoordinate0, progress, progressBase,
                         progressTotal, kPixelBytes);
    } else {
      if (!filtered || bits != filteredBits) {
        float pair[2];
        std::memcpy(&pair[0], &bits, 4);
        std::memcpy(&pair[1], &bits, 4);
        filterConstantLine<Level, false, AlphaFirst>(pair, lines, coefficients, scratch, alphas);
        filtered = true;
        filteredBits = bits;
      }
      Colours::filterLines(lines, coefficients, line, line + count, scratch, lineCoordinate0, progress, progressBase,
                           progressTotal, kPixelBytes, BlurGreyColourLanes<Level, AlphaFirst>(alphas, lines.first));
    }
    line += count;
  }
}

template <class Level>
void blurGreyVectorLines(BlurSamples samples, const BlurLines& lines, const BlurGrey& grey,
                         const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                         std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                         std::int64_t progressTotal) {
  noteLevelRun(Level::level);
  const auto magnitude = [](std::int64_t step) { return step < 0 ? -step : step; };
  const bool columns = magnitude(lines.sourceLineStep) < magnitude(lines.sourceSampleStep);
  auto run = [&]<BlurSamples Kind, bool IntoPairs, bool AlphaFirst>() {
    using Lanes = BlurGreyLanes<Level, IntoPairs, AlphaFirst>;
    const std::int64_t componentBytes = Kind == BlurSamples::Float32 ? 4 : Kind == BlurSamples::Unsigned8 ? 1 : 2;
    const std::int64_t pixelBytes = 4 * componentBytes, pairBytes = 2 * componentBytes;
    const std::int64_t stripPrefetchBytes = columns ? magnitude(lines.sourceLineStep) : 0;
    if constexpr (IntoPairs && Kind == BlurSamples::Float32) {
      if (grey.levels) {
        // The first pass through the levels and the desaturation; only
        // levels with colour lanes watch alpha, for only they use it.
        if constexpr (kColourLanes<Level>) {
          if (grey.alphaWatch) {
            blurOneAlphaRows<Level, AlphaFirst>(lines, *grey.levels, *grey.alphaWatch, coefficients, begin, end,
                                                scratch, lineCoordinate0, progress, progressBase, progressTotal);
            return;
          }
        } else if (grey.alphaWatch) {
          grey.alphaWatch->proven = false;
        }
        using Through = BlurGreyLevelsLanes<Level, AlphaFirst>;
        BlurVectorWalk<Through, Kind, kGreyRowStrip, false>::filterLines(
            lines, coefficients, begin, end, scratch, lineCoordinate0, progress, progressBase, progressTotal,
            stripPrefetchBytes, Through(*grey.levels));
        return;
      }
    }
    if constexpr (!IntoPairs && Kind == BlurSamples::Float32 && kColourLanes<Level>) {
      if (grey.sameAlphaEveryRow && columns && lines.sourceLineStep == pairBytes &&
          lines.outputLineStep == pixelBytes) {
        blurSameAlphaColumns<Level, AlphaFirst>(lines, coefficients, begin, end, scratch, lineCoordinate0, progress,
                                                progressBase, progressTotal);
        return;
      }
    }
    if constexpr (IntoPairs) {
      // The first pass: lines of pixels, taken one by one.
      BlurVectorWalk<Lanes, Kind, kGreyRowStrip, false>::filterLines(lines, coefficients, begin, end, scratch,
                                                                     lineCoordinate0, progress, progressBase,
                                                                     progressTotal, stripPrefetchBytes);
    } else if (columns && lines.sourceLineStep == pairBytes && lines.outputLineStep == pixelBytes) {
      // The second pass: neighbouring columns, read and written side by side.
      BlurVectorWalk<Lanes, Kind, kGreyColumnStrip, true>::filterLines(lines, coefficients, begin, end, scratch,
                                                                        lineCoordinate0, progress, progressBase,
                                                                        progressTotal, pixelBytes);
    } else {
      BlurVectorWalk<Lanes, Kind, kGreyColumnStrip, false>::filterLines(lines, coefficients, begin, end, scratch,
                                                                        lineCoordinate0, progress, progressBase,
                                                                        progressTotal, stripPrefetchBytes);
    }
  };
  auto forKind = [&]<bool IntoPairs, bool AlphaFirst>() {
    switch (samples) {
      case BlurSamples::Float32: return run.template operator()<BlurSamples::Float32, IntoPairs, AlphaFirst>();
      case BlurSamples::Unsigned16White32768:
        return run.template operator()<BlurSamples::Unsigned16White32768, IntoPairs, AlphaFirst>();
      case BlurSamples::Unsigned16OtherWhite:
        return run.template operator()<BlurSamples::Unsigned16OtherWhite, IntoPairs, AlphaFirst>();
      case BlurSamples::Unsigned8: return run.template operator()<BlurSamples::Unsigned8, IntoPairs, AlphaFirst>();
    }
  };
  if (grey.intoPairs)
    grey.alphaFirst ? forKind.template operator()<true, true>() : forKind.template operator()<true, false>();
  else
    grey.alphaFirst ? forKind.template operator()<false, true>() : forKind.template operator()<false, false>();
}

}  // namespace OZ::Image
