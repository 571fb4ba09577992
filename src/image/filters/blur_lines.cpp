#include "image/filters/blur_lines.h"

#include <algorithm>
#include <cstring>

#include "image/filters/processor_flags.h"

namespace OZ::Image {
namespace {

// The scalar family reads one component as a double and stores one from a
// double. Integer stores add 0.5 and truncate, so halves round up.
template <BlurSamples Kind>
struct ScalarSamples;

template <>
struct ScalarSamples<BlurSamples::Float32> {
  static constexpr int componentBytes = 4;
  static double load(const unsigned char* component) {
    float value;
    std::memcpy(&value, component, 4);
    return value;
  }
  static void store(unsigned char* component, double v) {
    const float value = float(v);
    std::memcpy(component, &value, 4);
  }
};

template <class Component, int Ceiling>
struct IntegerScalarSamples {
  static constexpr int componentBytes = int(sizeof(Component));
  static double load(const unsigned char* component) {
    Component value;
    std::memcpy(&value, component, sizeof value);
    return value;
  }
  static void store(unsigned char* component, double v) {
    const double t = std::max(v + 0.5, 0.0);
    const Component value = t > double(Ceiling) ? Component(Ceiling) : Component(t);
    std::memcpy(component, &value, sizeof value);
  }
};

template <>
struct ScalarSamples<BlurSamples::Unsigned8> : IntegerScalarSamples<std::uint8_t, 255> {};
template <>
struct ScalarSamples<BlurSamples::Unsigned16White32768> : IntegerScalarSamples<std::uint16_t, 32768> {};
template <>
struct ScalarSamples<BlurSamples::Unsigned16OtherWhite> : IntegerScalarSamples<std::uint16_t, 65535> {};

// One channel of one line, all in double. This is the reference form of the
// filter: the forward pass over the whole line into the scratch, the
// backward pass added to it down to `first`, then the output.
template <BlurSamples Kind>
void filterChannel(const unsigned char* source, std::int64_t sampleStep, std::int64_t n, unsigned char* output,
                   std::int64_t outputStep, std::int64_t count, std::int64_t first, const DericheCoefficients& c,
                   double* scratch) {
  using Samples = ScalarSamples<Kind>;
  auto x = [&](std::int64_t i) { return Samples::load(source + i * sampleStep); };

  // The line is taken to continue past each end at the Gaussian-weighted
  // mean of its outermost samples; y is the recursion's steady state for
  // such a constant, (2T − n0 + n0) × e / 2 = T × e. The backward filter has
  // no centre tap, so it starts n0 × e too high; that bump near the far end
  // is how this filter has always looked.
  const std::int64_t edgeCount = c.order == 0 ? std::min<std::int64_t>(n, std::int64_t(c.edgeWeights.size())) : 0;
  auto edgeEstimate = [&](bool fromEnd, double& e, double& y) {
    e = 0, y = 0;
    if (c.order != 0) return;
    double weightSum = 0;
    for (std::int64_t i = 0; i < edgeCount; ++i) {
      e += x(fromEnd ? n - 1 - i : i) * c.edgeWeights[std::size_t(i)];
      weightSum += c.edgeWeights[std::size_t(i)];
    }
    if (weightSum != 0) e /= weightSum;
    y = (1.0 / c.norm + c.n0) * e * 0.5;
  };

  double e, y;
  edgeEstimate(false, e, y);
  {
    double x1 = e, x2 = e, x3 = e;
    double p1 = y, p2 = y, p3 = y, p4 = y;
    for (std::int64_t i = 0; i < n; ++i) {
      const double x0 = x(i);
      const double p = c.n0 * x0 + c.n1 * x1 + c.n2 * x2 + c.n3 * x3 - c.d1 * p1 - c.d2 * p2 - c.d3 * p3 - c.d4 * p4;
      scratch[i] = p;
      x3 = x2, x2 = x1, x1 = x0;
      p4 = p3, p3 = p2, p2 = p1, p1 = p;
    }
  }

  edgeEstimate(true, e, y);
  if (n > first) {
    double x1 = e, x2 = e, x3 = e, x4 = e;
    double q1 = y, q2 = y, q3 = y, q4 = y;
    for (std::int64_t j = n - 1; j >= first; --j) {
      const double q = c.m1 * x1 + c.m2 * x2 + c.m3 * x3 + c.m4 * x4 - c.d1 * q1 - c.d2 * q2 - c.d3 * q3 - c.d4 * q4;
      scratch[j] += q;
      x4 = x3, x3 = x2, x2 = x1, x1 = x(j);
      q4 = q3, q3 = q2, q2 = q1, q1 = q;
    }
  }

  for (std::int64_t i = 0; i < count; ++i) Samples::store(output + i * outputStep, scratch[first + i] * c.norm);
}

template <BlurSamples Kind>
void filterScalarLines(const BlurLines& lines, const DericheCoefficients& coefficients, std::int64_t begin,
                       std::int64_t end, double* scratch, std::int32_t lineCoordinate0, Progress& progress,
                       std::int64_t progressBase, std::int64_t progressTotal) {
  constexpr int componentBytes = ScalarSamples<Kind>::componentBytes;
  for (std::int64_t line = begin; line < end; ++line) {
    const unsigned char* source = lines.source + line * lines.sourceLineStep;
    unsigned char* output = lines.output + line * lines.outputLineStep;
    for (int channel = 0; channel < 4; ++channel)
      filterChannel<Kind>(source + channel * componentBytes, lines.sourceSampleStep, lines.n,
                          output + channel * componentBytes, lines.outputSampleStep, lines.count, lines.first,
                          coefficients, scratch);
    if ((std::int64_t(lineCoordinate0) + line) % 32 == 0) progress.report(progressBase + line, progressTotal);
  }
}

// Colour and alpha of each line, each filtered as filterScalarLines filters
// it; in pixels the colour then goes to the other two colour components.
template <BlurSamples Kind>
void filterGreyScalarLines(const BlurLines& lines, const BlurGrey& grey, const DericheCoefficients& coefficients,
                           std::int64_t begin, std::int64_t end, double* scratch, std::int32_t lineCoordinate0,
                           Progress& progress, std::int64_t progressBase, std::int64_t progressTotal) {
  constexpr int componentBytes = ScalarSamples<Kind>::componentBytes;
  const int alpha = grey.alphaFirst ? 0 : 3, colour = grey.alphaFirst ? 1 : 0;
  const int channels[2][2] = {{grey.intoPairs ? colour : 0, grey.intoPairs ? 0 : colour},
                              {grey.intoPairs ? alpha : 1, grey.intoPairs ? 1 : alpha}};
  for (std::int64_t line = begin; line < end; ++line) {
    const unsigned char* source = lines.source + line * lines.sourceLineStep;
    unsigned char* output = lines.output + line * lines.outputLineStep;
    for (const auto& [from, to] : channels)
      filterChannel<Kind>(source + from * componentBytes, lines.sourceSampleStep, lines.n,
                          output + to * componentBytes, lines.outputSampleStep, lines.count, lines.first,
                          coefficients, scratch);
    if (!grey.intoPairs)
      for (std::int64_t i = 0; i < lines.count; ++i) {
        unsigned char* pixel = output + i * lines.outputSampleStep;
        for (int other = 0; other < 4; ++other)
          if (other != alpha && other != colour)
            std::memcpy(pixel + other * componentBytes, pixel + colour * componentBytes, componentBytes);
      }
    if ((std::int64_t(lineCoordinate0) + line) % 32 == 0) progress.report(progressBase + line, progressTotal);
  }
}

void* alignScratch(void* scratch) {
  const auto address = reinterpret_cast<std::uintptr_t>(scratch);
  return reinterpret_cast<void*>((address + 63) & ~std::uintptr_t(63));
}

}  // namespace

BlurSamples blurSamples(int depth, std::uint32_t white) {
  if (depth == 32) return BlurSamples::Float32;
  if (depth == 16) return white == 32768 ? BlurSamples::Unsigned16White32768 : BlurSamples::Unsigned16OtherWhite;
  return BlurSamples::Unsigned8;
}

std::size_t blurScratchBytes(BlurFamily family, std::int64_t n) {
  const std::size_t samples = n > 0 ? std::size_t(n) : 0;
  if (family == BlurFamily::Vector)
    return BlurVectorScratch::fixedBytes +
           samples * (BlurVectorScratch::bytesPerSample + BlurVectorScratch::constantLineBytesPerSample);
  // 64 bytes of slack let the scalar line filter align the block itself.
  return 8 * samples + 64;
}

template <class Level>
void blurScalarLines(BlurSamples samples, const BlurLines& lines, const DericheCoefficients& coefficients,
                     std::int64_t begin, std::int64_t end, void* scratch, std::int32_t lineCoordinate0,
                     Progress& progress, std::int64_t progressBase, std::int64_t progressTotal) {
  noteLevelRun(Level::level);
  double* doubles = static_cast<double*>(alignScratch(scratch));
  auto run = [&]<BlurSamples Kind>() {
    filterScalarLines<Kind>(lines, coefficients, begin, end, doubles, lineCoordinate0, progress, progressBase,
                            progressTotal);
  };
  switch (samples) {
    case BlurSamples::Float32: return run.template operator()<BlurSamples::Float32>();
    case BlurSamples::Unsigned16White32768: return run.template operator()<BlurSamples::Unsigned16White32768>();
    case BlurSamples::Unsigned16OtherWhite: return run.template operator()<BlurSamples::Unsigned16OtherWhite>();
    case BlurSamples::Unsigned8: return run.template operator()<BlurSamples::Unsigned8>();
  }
}

template void blurScalarLines<ScalarLevel>(BlurSamples, const BlurLines&, const DericheCoefficients&, std::int64_t,
                                           std::int64_t, void*, std::int32_t, Progress&, std::int64_t,
                                           std::int64_t);

template <class Level>
void blurGreyScalarLines(BlurSamples samples, const BlurLines& lines, const BlurGrey& grey,
                         const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                         std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                         std::int64_t progressTotal) {
  noteLevelRun(Level::level);
  double* doubles = static_cast<double*>(alignScratch(scratch));
  auto run = [&]<BlurSamples Kind>() {
    filterGreyScalarLines<Kind>(lines, grey, coefficients, begin, end, doubles, lineCoordinate0, progress,
                                progressBase, progressTotal);
  };
  switch (samples) {
    case BlurSamples::Float32: return run.template operator()<BlurSamples::Float32>();
    case BlurSamples::Unsigned16White32768: return run.template operator()<BlurSamples::Unsigned16White32768>();
    case BlurSamples::Unsigned16OtherWhite: return run.template operator()<BlurSamples::Unsigned16OtherWhite>();
    case BlurSamples::Unsigned8: return run.template operator()<BlurSamples::Unsigned8>();
  }
}

template void blurGreyScalarLines<ScalarLevel>(BlurSamples, const BlurLines&, const BlurGrey&,
                                               const DericheCoefficients&, std::int64_t, std::int64_t, void*,
                                               std::int32_t, Progress&, std::int64_t, std::int64_t);

void blurLineRange(BlurFamily family, BlurSamples samples, const BlurLines& lines,
                   const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                   std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                   std::int64_t progressTotal) {
  // Never read scratch the forward pass did not write.
  BlurLines checked = lines;
  checked.count = std::max<std::int64_t>(0, std::min(lines.count, lines.n - lines.first));
  if (family == BlurFamily::Scalar) {
    blurScalarLines<ScalarLevel>(samples, checked, coefficients, begin, end, scratch, lineCoordinate0, progress,
                                 progressBase, progressTotal);
  } else if (queryProcessorFlags() & kFlagAVX) {
    // The two builds of the vector family store the same bytes; AVX is faster.
    blurVectorLines<AVXLevel>(samples, checked, coefficients, begin, end, scratch, lineCoordinate0, progress,
                              progressBase, progressTotal);
  } else {
    blurVectorLines<SSE2Level>(samples, checked, coefficients, begin, end, scratch, lineCoordinate0, progress,
                               progressBase, progressTotal);
  }
}

void blurGreyLineRange(BlurFamily family, BlurSamples samples, const BlurLines& lines, const BlurGrey& grey,
                       const DericheCoefficients& coefficients, std::int64_t begin, std::int64_t end, void* scratch,
                       std::int32_t lineCoordinate0, Progress& progress, std::int64_t progressBase,
                       std::int64_t progressTotal) {
  BlurLines checked = lines;
  checked.count = std::max<std::int64_t>(0, std::min(lines.count, lines.n - lines.first));
  if (family == BlurFamily::Scalar) {
    blurGreyScalarLines<ScalarLevel>(samples, checked, grey, coefficients, begin, end, scratch, lineCoordinate0,
                                     progress, progressBase, progressTotal);
  } else if (queryProcessorFlags() & kFlagAVX) {
    blurGreyVectorLines<AVXLevel>(samples, checked, grey, coefficients, begin, end, scratch, lineCoordinate0,
                                  progress, progressBase, progressTotal);
  } else {
    blurGreyVectorLines<SSE2Level>(samples, checked, grey, coefficients, begin, end, scratch, lineCoordinate0,
                                   progress, progressBase, progressTotal);
  }
}

}  // namespace OZ::Image
