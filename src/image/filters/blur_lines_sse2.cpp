// The vector family of the blur's line filters: the four components of a
// pixel at once. Feed-forward coefficients, norm and the edge estimates are
// single precision; each feed-forward sum is formed in single precision,
// widened, and the feedback is subtracted in double, the four channels as
// two pairs of doubles. See docs/rounding.md, "Blur".

#include <emmintrin.h>

#include <algorithm>
#include <cstring>

#include "image/filters/blur_lines.h"
#include "image/filters/processor_flags.h"
#include "image/pixel_layout.h"
#include "image/vector_pixels.h"

namespace OZ::Image {
namespace {  // internal linkage: no other level's copy can stand in for these

using Level = SSE2Level;

template <BlurSamples Kind>
struct VectorSamples;

template <>
struct VectorSamples<BlurSamples::Float32> {
  static __m128 load(const unsigned char* pixel) { return VectorPixels<Level, Bgra32>::load(pixel); }
  static void store(unsigned char* pixel, __m128 v) { _mm_storeu_ps(reinterpret_cast<float*>(pixel), v); }
};

template <>
struct VectorSamples<BlurSamples::Unsigned8> {
  static __m128 load(const unsigned char* pixel) { return VectorPixels<Level, Bgra8>::load(pixel); }
  // Round to nearest even, then saturate to 16 and to 8 bits.
  static void store(unsigned char* pixel, __m128 v) {
    const __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(v), _mm_setzero_si128());
    const std::int32_t bytes = _mm_cvtsi128_si32(_mm_packus_epi16(words, words));
    std::memcpy(pixel, &bytes, 4);
  }
};

// SSE2 has only a signed 32-to-16-bit pack: shift into the signed range,
// pack, shift back with wrapping 16-bit arithmetic.
template <bool LimitToWhite>
struct Vector16Samples {
  static __m128 load(const unsigned char* pixel) { return VectorPixels<Level, Bgra16>::load(pixel); }
  static void store(unsigned char* pixel, __m128 v) {
    const __m128 shifted = _mm_sub_ps(v, _mm_set1_ps(32768.0f));
    __m128i words = _mm_packs_epi32(_mm_cvtps_epi32(shifted), _mm_setzero_si128());
    if constexpr (LimitToWhite) words = _mm_min_epi16(words, _mm_setzero_si128());
    words = _mm_add_epi16(words, _mm_set1_epi16(std::int16_t(-32768)));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(pixel), words);
  }
};

template <>
struct VectorSamples<BlurSamples::Unsigned16White32768> : Vector16Samples<true> {};
template <>
struct VectorSamples<BlurSamples::Unsigned16OtherWhite> : Vector16Samples<false> {};

struct VectorCoefficients {
  explicit VectorCoefficients(const DericheCoefficients& c, std::int64_t n)
      : n0(_mm_set1_ps(float(c.n0))),
        n1(_mm_set1_ps(float(c.n1))),
        n2(_mm_set1_ps(float(c.n2))),
        n3(_mm_set1_ps(float(c.n3))),
        m1(_mm_set1_ps(float(c.m1))),
        m2(_mm_set1_ps(float(c.m2))),
        m3(_mm_set1_ps(float(c.m3))),
        m4(_mm_set1_ps(float(c.m4))),
        d1(_mm_set1_pd(c.d1)),
        d2(_mm_set1_pd(c.d2)),
        d3(_mm_set1_pd(c.d3)),
        d4(_mm_set1_pd(c.d4)),
        norm(_mm_set1_ps(float(c.norm))),
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

  __m128 n0, n1, n2, n3, m1, m2, m3, m4;
  __m128d d1, d2, d3, d4;
  __m128 norm;
  const double* weights;
  std::int64_t edgeCount;
  bool estimates;
  float weightSum;
  float edgeFactor;
};

// The feedback coefficients as plain values, so that the compiler keeps them
// in registers across the stores of a loop.
struct Feedback {
  __m128d d1, d2, d3, d4;

  // ff − d1·h1 − d2·h2 − d3·h3 − d4·h4, subtracted in this order.
  __m128d subtractFrom(__m128d ff, __m128d h1, __m128d h2, __m128d h3, __m128d h4) const {
    __m128d v = _mm_sub_pd(ff, _mm_mul_pd(d1, h1));
    v = _mm_sub_pd(v, _mm_mul_pd(d2, h2));
    v = _mm_sub_pd(v, _mm_mul_pd(d3, h3));
    return _mm_sub_pd(v, _mm_mul_pd(d4, h4));
  }
};

inline __m128d lowPair(__m128 v) { return _mm_cvtps_pd(v); }
inline __m128d highPair(__m128 v) { return _mm_cvtps_pd(_mm_movehl_ps(v, v)); }

// Lines are filtered in strips, side by side. The recursion of one line is
// a long chain of dependent multiplies and subtractions; the lines of a
// strip are independent and fill its latency. Their history lives in small
// rings in memory, indexed by the sample number modulo 4, so nothing shifts.
// Columns are adjacent in memory, and a strip of 16 of them reads whole
// cache lines of each row; rows are separate streams, of which eight keep
// the bookkeeping per sample small.
constexpr int kColumnStrip = 16;
constexpr int kRowStrip = 8;
constexpr int kLargestStrip = kColumnStrip;

// A strip of columns reads a few cache lines from each row, a whole row
// apart: too far for the hardware to see the stream, so the lines of a row
// some samples ahead are asked for explicitly.
constexpr std::int64_t kPrefetchDistance = 6;

inline void prefetch(const unsigned char* from, std::int64_t bytes) {
  for (std::int64_t offset = 0; offset < bytes; offset += 64)
    _mm_prefetch(reinterpret_cast<const char*>(from + offset), _MM_HINT_T0);
  _mm_prefetch(reinterpret_cast<const char*>(from + bytes - 1), _MM_HINT_T0);
}

// The strip's working memory, carved from the caller's scratch.
struct StripWorkspace {
  explicit StripWorkspace(void* scratch) {
    auto* base = reinterpret_cast<__m128d*>((reinterpret_cast<std::uintptr_t>(scratch) + 63) & ~std::uintptr_t(63));
    history = base;                                                     // 4 slots × lines × (low, high)
    samples = reinterpret_cast<__m128*>(base + 4 * kLargestStrip * 2);  // 4 slots × lines
    edges = samples + 4 * kLargestStrip;                                // lines
    forward = reinterpret_cast<__m128d*>(edges + kLargestStrip);        // output samples × lines × (low, high)
  }
  // Alignment slack, the rings and the edge estimates.
  static constexpr std::size_t fixedBytes = 64 + 4 * kLargestStrip * 32 + 4 * kLargestStrip * 16 + kLargestStrip * 16;

  __m128d* history;
  std::int64_t prefetchBytes = 0;  // bytes of a row that a strip of columns covers; 0 for rows
  __m128* samples;
  __m128* edges;
  __m128d* forward;
};

// The weighted mean of each line's first (or last) samples, and the settled
// recursion for it: y = (1/norm + n0) × e × 0.5. Zero at orders other than 0.
// Every ring slot starts from them: the line continues at e, settled at y.
template <BlurSamples Kind>
void startStrip(const BlurLines& lines, const VectorCoefficients& k, const unsigned char* source, int count,
                bool fromEnd, const StripWorkspace& w) {
  for (int l = 0; l < count; ++l) w.edges[l] = _mm_setzero_ps();
  if (k.estimates) {
    // Sample by sample across the strip; each line still sums its samples in order.
    const std::int64_t step = fromEnd ? -lines.sourceSampleStep : lines.sourceSampleStep;
    const unsigned char* row = source + (fromEnd ? (lines.n - 1) * lines.sourceSampleStep : 0);
    for (std::int64_t i = 0; i < k.edgeCount; ++i, row += step) {
      const __m128 weight = _mm_set1_ps(float(k.weights[i]));
      for (int l = 0; l < count; ++l)
        w.edges[l] =
            _mm_add_ps(w.edges[l], _mm_mul_ps(VectorSamples<Kind>::load(row + l * lines.sourceLineStep), weight));
    }
    const __m128 weightSum = _mm_set1_ps(k.weightSum);
    if (k.weightSum != 0.0f)
      for (int l = 0; l < count; ++l) w.edges[l] = _mm_div_ps(w.edges[l], weightSum);
  }
  for (int l = 0; l < count; ++l) {
    const __m128 e = w.edges[l];
    const __m128 y = _mm_mul_ps(_mm_mul_ps(_mm_set1_ps(k.edgeFactor), e), _mm_set1_ps(0.5f));
    const __m128d low = lowPair(y), high = highPair(y);
    for (int slot = 0; slot < 4; ++slot) {
      w.samples[slot * kLargestStrip + l] = e;
      w.history[(slot * kLargestStrip + l) * 2] = low;
      w.history[(slot * kLargestStrip + l) * 2 + 1] = high;
    }
  }
}

// Forward samples [from, to) of every line of the strip. The slot of sample
// i is i mod 4: it holds x[i−4] and p[i−4] until they are replaced.
//   p[i] = n0·x[i] + n1·x[i−1] + n2·x[i−2] + n3·x[i−3], summed in float in
//   that order, widened, then − d1·p[i−1] − d2·p[i−2] − d3·p[i−3] − d4·p[i−4]
//   in double.
// With Keep, p[i] also goes to the forward store, row i − first.
template <BlurSamples Kind, bool Keep>
void forwardSamples(const BlurLines& lines, const VectorCoefficients& k, const unsigned char* source, int count,
                    std::int64_t from, std::int64_t to, const StripWorkspace& w) {
  const __m128 n0 = k.n0, n1 = k.n1, n2 = k.n2, n3 = k.n3;
  const Feedback feedback{k.d1, k.d2, k.d3, k.d4};
  const std::int64_t lineStep = lines.sourceLineStep, sampleStep = lines.sourceSampleStep, first = lines.first;
  for (std::int64_t i = from; i < to; ++i) {
    const int slot = int(i & 3);
    const __m128* x1 = w.samples + ((slot + 3) & 3) * kLargestStrip;
    const __m128* x2 = w.samples + ((slot + 2) & 3) * kLargestStrip;
    const __m128* x3 = w.samples + ((slot + 1) & 3) * kLargestStrip;
    __m128* x0 = w.samples + slot * kLargestStrip;
    const __m128d* h1 = w.history + ((slot + 3) & 3) * kLargestStrip * 2;
    const __m128d* h2 = w.history + ((slot + 2) & 3) * kLargestStrip * 2;
    const __m128d* h3 = w.history + ((slot + 1) & 3) * kLargestStrip * 2;
    __m128d* h4 = w.history + slot * kLargestStrip * 2;  // p[i−4], replaced by p[i]
    __m128d* kept = Keep ? w.forward + (i - first) * count * 2 : nullptr;
    const unsigned char* sample = source + i * sampleStep;
    if (w.prefetchBytes && i + kPrefetchDistance < lines.n)
      prefetch(sample + kPrefetchDistance * sampleStep, w.prefetchBytes);
    for (int l = 0; l < count; ++l, sample += lineStep) {
      const __m128 x = VectorSamples<Kind>::load(sample);
      __m128 ff = _mm_mul_ps(n0, x);
      ff = _mm_add_ps(ff, _mm_mul_ps(n1, x1[l]));
      ff = _mm_add_ps(ff, _mm_mul_ps(n2, x2[l]));
      ff = _mm_add_ps(ff, _mm_mul_ps(n3, x3[l]));
      x0[l] = x;
      const __m128d low = feedback.subtractFrom(lowPair(ff), h1[2 * l], h2[2 * l], h3[2 * l], h4[2 * l]);
      const __m128d high =
          feedback.subtractFrom(highPair(ff), h1[2 * l + 1], h2[2 * l + 1], h3[2 * l + 1], h4[2 * l + 1]);
      h4[2 * l] = low;
      h4[2 * l + 1] = high;
      if constexpr (Keep) {
        kept[2 * l] = low;
        kept[2 * l + 1] = high;
      }
    }
  }
}

// Backward samples j from `from` down to `to` (inclusive, from ≤ n − 1);
// step t = n − 1 − j uses slot t mod 4, which holds x[j+4] and q[j+4] until
// they are replaced by x[j] and q[j].
//   q[j] = m1·x[j+1] + m2·x[j+2] + m3·x[j+3] + m4·x[j+4] in float, widened,
//   then − d1·q[j+1] − ... − d4·q[j+4] in double.
// With Store, v = float(p + q) × norm (sum and product each rounded once) is
// stored as output sample j − first.
template <BlurSamples Kind, bool Store>
void backwardSamples(const BlurLines& lines, const VectorCoefficients& k, const unsigned char* source,
                     unsigned char* output, int count, std::int64_t from, std::int64_t to, const StripWorkspace& w) {
  const __m128 m1 = k.m1, m2 = k.m2, m3 = k.m3, m4 = k.m4, norm = k.norm;
  const Feedback feedback{k.d1, k.d2, k.d3, k.d4};
  const std::int64_t lineStep = lines.sourceLineStep, sampleStep = lines.sourceSampleStep, first = lines.first;
  const std::int64_t outputLineStep = lines.outputLineStep, outputSampleStep = lines.outputSampleStep;
  for (std::int64_t j = from; j >= to; --j) {
    const int slot = int((lines.n - 1 - j) & 3);
    const __m128* x1 = w.samples + ((slot + 3) & 3) * kLargestStrip;
    const __m128* x2 = w.samples + ((slot + 2) & 3) * kLargestStrip;
    const __m128* x3 = w.samples + ((slot + 1) & 3) * kLargestStrip;
    __m128* x4 = w.samples + slot * kLargestStrip;
    const __m128d* h1 = w.history + ((slot + 3) & 3) * kLargestStrip * 2;
    const __m128d* h2 = w.history + ((slot + 2) & 3) * kLargestStrip * 2;
    const __m128d* h3 = w.history + ((slot + 1) & 3) * kLargestStrip * 2;
    __m128d* h4 = w.history + slot * kLargestStrip * 2;
    const unsigned char* sample = source + j * sampleStep;
    const __m128d* kept = Store ? w.forward + (j - first) * count * 2 : nullptr;
    unsigned char* out = Store ? output + (j - first) * outputSampleStep : nullptr;
    if (Store && w.prefetchBytes && j - kPrefetchDistance >= first)
      prefetch(out - kPrefetchDistance * outputSampleStep, w.prefetchBytes);
    for (int l = 0; l < count; ++l, sample += lineStep) {
      __m128 ff = _mm_mul_ps(m1, x1[l]);
      ff = _mm_add_ps(ff, _mm_mul_ps(m2, x2[l]));
      ff = _mm_add_ps(ff, _mm_mul_ps(m3, x3[l]));
      ff = _mm_add_ps(ff, _mm_mul_ps(m4, x4[l]));
      x4[l] = VectorSamples<Kind>::load(sample);
      const __m128d low = feedback.subtractFrom(lowPair(ff), h1[2 * l], h2[2 * l], h3[2 * l], h4[2 * l]);
      const __m128d high =
          feedback.subtractFrom(highPair(ff), h1[2 * l + 1], h2[2 * l + 1], h3[2 * l + 1], h4[2 * l + 1]);
      h4[2 * l] = low;
      h4[2 * l + 1] = high;
      if constexpr (Store) {
        const __m128d sumLow = _mm_add_pd(kept[2 * l], low);
        const __m128d sumHigh = _mm_add_pd(kept[2 * l + 1], high);
        const __m128 v = _mm_movelh_ps(_mm_cvtpd_ps(sumLow), _mm_cvtpd_ps(sumHigh));
        VectorSamples<Kind>::store(out + l * outputLineStep, _mm_mul_ps(v, norm));
      }
    }
  }
}

// Filters lines [line0, line0 + count) together, each exactly as if alone.
// The forward pass stops at the last output sample and the output is stored
// during the backward pass: neither changes a stored value.
template <BlurSamples Kind>
void filterStrip(const BlurLines& lines, const VectorCoefficients& k, std::int64_t line0, int count,
                 const StripWorkspace& w) {
  if (lines.count <= 0) return;
  const unsigned char* source = lines.source + line0 * lines.sourceLineStep;
  unsigned char* output = lines.output + line0 * lines.outputLineStep;
  startStrip<Kind>(lines, k, source, count, false, w);
  forwardSamples<Kind, false>(lines, k, source, count, 0, lines.first, w);
  forwardSamples<Kind, true>(lines, k, source, count, lines.first, lines.first + lines.count, w);
  startStrip<Kind>(lines, k, source, count, true, w);
  const std::int64_t last = lines.first + lines.count - 1;
  backwardSamples<Kind, false>(lines, k, source, output, count, lines.n - 1, last + 1, w);
  backwardSamples<Kind, true>(lines, k, source, output, count, last, lines.first, w);
}

template <BlurSamples Kind>
void filterVectorLines(const BlurLines& lines, const DericheCoefficients& coefficients, std::int64_t begin,
                       std::int64_t end, void* scratch, std::int32_t lineCoordinate0, Progress& progress,
                       std::int64_t progressBase, std::int64_t progressTotal) {
  const VectorCoefficients k(coefficients, lines.n);
  StripWorkspace workspace(scratch);
  const auto magnitude = [](std::int64_t step) { return step < 0 ? -step : step; };
  const bool columns = magnitude(lines.sourceLineStep) < magnitude(lines.sourceSampleStep);
  const std::int64_t strip = columns ? kColumnStrip : kRowStrip;
  std::int64_t line = begin;
  while (line < end) {
    // A strip ends at the next line that reports, so that the report comes
    // right after that line and before any later line is touched.
    const std::int64_t coordinate = std::int64_t(lineCoordinate0) + line;
    const std::int64_t untilReport = ((-coordinate) % 32 + 32) % 32 + 1;
    const std::int64_t count = std::min({strip, end - line, untilReport});
    workspace.prefetchBytes = columns ? count * magnitude(lines.sourceLineStep) : 0;
    filterStrip<Kind>(lines, k, line, int(count), workspace);
    line += count;
    if ((std::int64_t(lineCoordinate0) + line - 1) % 32 == 0) progress.report(progressBase + line - 1, progressTotal);
  }
}

}  // namespace

template <class VectorLevel>
void blurVectorLines(BlurSamples samples, const BlurLines& lines, const DericheCoefficients& coefficients,
                     std::int64_t begin, std::int64_t end, void* scratch, std::int32_t lineCoordinate0,
                     Progress& progress, std::int64_t progressBase, std::int64_t progressTotal) {
  static_assert(VectorLevel::level == KernelLevel::SSE2);
  noteLevelRun(VectorLevel::level);
  auto run = [&]<BlurSamples Kind>() {
    filterVectorLines<Kind>(lines, coefficients, begin, end, scratch, lineCoordinate0, progress, progressBase,
                            progressTotal);
  };
  switch (samples) {
    case BlurSamples::Float32: return run.template operator()<BlurSamples::Float32>();
    case BlurSamples::Unsigned16White32768: return run.template operator()<BlurSamples::Unsigned16White32768>();
    case BlurSamples::Unsigned16OtherWhite: return run.template operator()<BlurSamples::Unsigned16OtherWhite>();
    case BlurSamples::Unsigned8: return run.template operator()<BlurSamples::Unsigned8>();
  }
}

template <class VectorLevel>
std::size_t blurVectorScratchBytes(std::int64_t n) {
  const std::size_t samples = n > 0 ? std::size_t(n) : 0;
  return StripWorkspace::fixedBytes + samples * kLargestStrip * 32;
}

template std::size_t blurVectorScratchBytes<SSE2Level>(std::int64_t);
template void blurVectorLines<SSE2Level>(BlurSamples, const BlurLines&, const DericheCoefficients&, std::int64_t,
                                         std::int64_t, void*, std::int32_t, Progress&, std::int64_t, std::int64_t);

}  // namespace OZ::Image
