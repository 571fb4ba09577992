#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "image/exception.h"
#include "image/filters/blur_lines.h"
#include "image/filters/processor_flags.h"

namespace OZ::Image {
namespace {

int componentBytes(BlurSamples kind) {
  return kind == BlurSamples::Float32 ? 4 : kind == BlurSamples::Unsigned8 ? 1 : 2;
}

const char* kindName(BlurSamples kind) {
  switch (kind) {
    case BlurSamples::Float32: return "Float32";
    case BlurSamples::Unsigned16White32768: return "Unsigned16White32768";
    case BlurSamples::Unsigned16OtherWhite: return "Unsigned16OtherWhite";
    case BlurSamples::Unsigned8: return "Unsigned8";
  }
  return "";
}

constexpr unsigned char kSentinel = 0xCD;

// Pixels of one sample kind with guard bytes after every row.
struct Plane {
  Plane(BlurSamples kind, int width, int height)
      : kind(kind), width(width), height(height), pixelBytes(4 * componentBytes(kind)),
        stride(width * pixelBytes + 24), bytes(std::size_t(stride) * height, kSentinel) {}

  unsigned char* pixel(int x, int y) { return bytes.data() + y * stride + x * pixelBytes; }
  double get(int x, int y, int channel) {
    unsigned char* at = pixel(x, y) + channel * componentBytes(kind);
    if (kind == BlurSamples::Float32) {
      float v;
      std::memcpy(&v, at, 4);
      return v;
    }
    if (kind == BlurSamples::Unsigned8) return *at;
    std::uint16_t v;
    std::memcpy(&v, at, 2);
    return v;
  }
  void set(int x, int y, int channel, double value) {
    unsigned char* at = pixel(x, y) + channel * componentBytes(kind);
    if (kind == BlurSamples::Float32) {
      const float v = float(value);
      std::memcpy(at, &v, 4);
    } else if (kind == BlurSamples::Unsigned8) {
      *at = std::uint8_t(value);
    } else {
      const std::uint16_t v = std::uint16_t(value);
      std::memcpy(at, &v, 2);
    }
  }
  void fill(double value) {
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        for (int c = 0; c < 4; ++c) set(x, y, c, value);
  }

  BlurSamples kind;
  int width, height;
  std::int64_t pixelBytes, stride;
  std::vector<unsigned char> bytes;
};

// Rows of source into rows of output: output column 0 is source column first.
BlurLines rowsOf(Plane& source, Plane& output, std::int64_t first) {
  return {source.pixel(0, 0), source.stride, source.pixelBytes, source.width,
          output.pixel(0, 0), output.stride, output.pixelBytes, output.width, first};
}
BlurLines columnsOf(Plane& source, Plane& output, std::int64_t first) {
  return {source.pixel(0, 0), source.pixelBytes, source.stride, source.height,
          output.pixel(0, 0), output.pixelBytes, output.stride, output.height, first};
}

struct NoProgress : Progress {
  void report(std::int64_t, std::int64_t) override {}
};

void filter(BlurFamily family, BlurSamples kind, const BlurLines& lines, const DericheCoefficients& c,
            std::int64_t begin, std::int64_t end, std::int32_t lineCoordinate0 = 0, Progress* progress = nullptr) {
  std::vector<unsigned char> scratch(blurScratchBytes(family, lines.n) + 3);
  NoProgress none;
  // Deliberately misaligned scratch.
  blurLineRange(family, kind, lines, c, begin, end, scratch.data() + 3, lineCoordinate0, progress ? *progress : none,
                0, 1);
}

bool hasSSE2() { return (queryProcessorFlags() & kFlagSSE2) != 0; }
bool hasAVX() { return hasSSE2() && (queryProcessorFlags() & kFlagAVX) != 0; }

// A level to force: the family the caller picks, and within the vector
// family the flag mask that picks SSE2 or AVX.
struct BlurLevel {
  const char* name;
  BlurFamily family;
  ProcessorFlags mask;
  KernelLevel level;
};
void PrintTo(const BlurLevel& level, std::ostream* os) { *os << level.name; }

const BlurLevel kScalar{"Scalar", BlurFamily::Scalar, ~ProcessorFlags(0), KernelLevel::Scalar};
const BlurLevel kSSE2{"SSE2", BlurFamily::Vector, ~kFlagAVX, KernelLevel::SSE2};
const BlurLevel kAVX{"AVX", BlurFamily::Vector, ~ProcessorFlags(0), KernelLevel::AVX};

// Forces a level for the life of a test; false when the processor lacks it.
bool forceLevel(const BlurLevel& level) {
  restrictProcessorFlags(~ProcessorFlags(0));
  if (level.level == KernelLevel::SSE2 && !hasSSE2()) return false;
  if (level.level == KernelLevel::AVX && !hasAVX()) return false;
  restrictProcessorFlags(level.mask);
  return true;
}

// One float line of n samples, filtered as row 0 of a plane.
std::vector<double> filterLine(BlurFamily family, const std::vector<double>& samples, const DericheCoefficients& c,
                               int planeWidth = 0) {
  const int n = int(samples.size());
  Plane source(BlurSamples::Float32, std::max(n, planeWidth), 1), output(BlurSamples::Float32, n, 1);
  source.fill(std::nan(""));
  for (int i = 0; i < n; ++i)
    for (int ch = 0; ch < 4; ++ch) source.set(i, 0, ch, samples[i]);
  BlurLines lines = rowsOf(source, output, 0);
  lines.n = n;
  filter(family, BlurSamples::Float32, lines, c, 0, 1);
  std::vector<double> result(n);
  for (int i = 0; i < n; ++i) {
    result[i] = output.get(i, 0, 0);
    for (int ch = 1; ch < 4; ++ch) EXPECT_EQ(output.get(i, 0, ch), result[i]) << "channel " << ch;
  }
  return result;
}

// Random pixels with plenty of zeros and full-scale values, and a few above
// full scale where the kind can hold them.
void fillRandom(Plane& plane, std::mt19937& random) {
  const double top = plane.kind == BlurSamples::Float32 ? 1.0
                     : plane.kind == BlurSamples::Unsigned8 ? 255
                     : plane.kind == BlurSamples::Unsigned16White32768 ? 32768 : 65535;
  std::uniform_real_distribution<double> unit(0, 1);
  for (int y = 0; y < plane.height; ++y)
    for (int x = 0; x < plane.width; ++x)
      for (int c = 0; c < 4; ++c) {
        const double pick = unit(random);
        double v = pick < 0.2 ? 0 : pick < 0.4 ? top : std::floor(unit(random) * top);
        if (plane.kind == BlurSamples::Float32) v = pick < 0.45 ? v : unit(random) * 4 - 1.5;
        if (plane.kind == BlurSamples::Unsigned16White32768 && pick > 0.97) v = 40000;
        plane.set(x, y, c, v);
      }
}

// What the vector family stores for v = float(p + q) × norm.
double vectorStore(float v, BlurSamples kind) {
  if (kind == BlurSamples::Float32) return v;
  const bool is8 = kind == BlurSamples::Unsigned8;
  const float shifted = is8 ? v : v - 32768.0f;
  // cvtps2dq: nearest even; out of range gives INT32_MIN.
  double r = std::nearbyint(double(shifted));
  if (!(r >= -2147483648.0 && r <= 2147483647.0)) r = -2147483648.0;
  r = std::clamp(r, -32768.0, 32767.0);  // signed pack
  if (is8) return std::clamp(r, 0.0, 255.0);
  if (kind == BlurSamples::Unsigned16White32768) return std::min(r, 0.0) + 32768;
  return r + 32768;
}

// What the scalar family stores for v; false when v + 0.5 lies too close to
// an integer to tell from the float32 result.
bool scalarStore(double v, BlurSamples kind, double& stored) {
  const double ceiling = kind == BlurSamples::Unsigned8              ? 255
                         : kind == BlurSamples::Unsigned16White32768 ? 32768
                                                                     : 65535;
  const double t = std::max(v + 0.5, 0.0);
  stored = t > ceiling ? ceiling : std::floor(t);
  const bool truncated = t > 0.01 && t < ceiling + 0.01;
  return !truncated || std::abs(t - std::round(t)) > 0.01;
}

class BlurFamilyTest : public testing::TestWithParam<BlurLevel> {
 protected:
  void SetUp() override {
    if (!forceLevel(GetParam())) GTEST_SKIP() << "no " << GetParam().name;
  }
  void TearDown() override { restrictProcessorFlags(~ProcessorFlags(0)); }
  BlurFamily family() const { return GetParam().family; }
};

TEST_P(BlurFamilyTest, ZeroSigmaPassesSamplesThrough) {
  const DericheCoefficients c(0.0, 0);
  const std::vector<std::pair<BlurSamples, std::vector<double>>> cases = {
      {BlurSamples::Unsigned8, {0, 1, 127, 128, 254, 255}},
      {BlurSamples::Unsigned16White32768, {0, 1, 16384, 32767, 32768, 32769, 65535}},
      {BlurSamples::Unsigned16OtherWhite, {0, 1, 32767, 32768, 32769, 65534, 65535}},
      {BlurSamples::Float32, {0, 1, -0.5, 3.75, 1e-3, 1000.25}},
  };
  for (const auto& [kind, values] : cases) {
    const int n = int(values.size());
    Plane source(kind, n, 1), output(kind, n, 1);
    for (int i = 0; i < n; ++i)
      for (int ch = 0; ch < 4; ++ch) source.set(i, 0, ch, values[(i + ch) % n]);
    filter(family(), kind, rowsOf(source, output, 0), c, 0, 1);
    for (int i = 0; i < n; ++i)
      for (int ch = 0; ch < 4; ++ch) {
        double expected = values[(i + ch) % n];
        if (kind == BlurSamples::Unsigned16White32768) expected = std::min(expected, 32768.0);
        if (kind == BlurSamples::Float32)
          EXPECT_NEAR(output.get(i, 0, ch), expected, std::abs(expected) * 1e-6) << kindName(kind);
        else
          EXPECT_EQ(output.get(i, 0, ch), expected) << kindName(kind) << " sample " << i;
      }
  }
}

TEST_P(BlurFamilyTest, ConstantLineKeepsItsLeftEndAndRisesAtItsRightEnd) {
  // The backward recursion starts n0 × c too high, so the far end rises by
  // up to n0 × norm × c: about 8% at s = 5 and 1.3% at s = 30. Elsewhere the
  // gain is 1 within what the cut-off impulse response leaves (2e-4).
  for (const auto& [s, low, high] : {std::tuple{5.0, 0.075, 0.085}, std::tuple{30.0, 0.012, 0.0145}}) {
    const DericheCoefficients c(s, 0);
    const double value = 0.8;
    const std::vector<double> out = filterLine(family(), std::vector<double>(int(s * 40), value), c);
    EXPECT_NEAR(out.front(), value, value * 2e-4) << "s " << s;
    EXPECT_NEAR(out[out.size() / 2], value, value * 2e-4) << "s " << s;
    const double rise = *std::max_element(out.begin(), out.end()) / value - 1;
    EXPECT_LE(rise, c.n0 * c.norm + 5e-4) << "s " << s;
    EXPECT_GE(rise, c.n0 * c.norm * 0.95) << "s " << s;
    EXPECT_GT(rise, low) << "s " << s;
    EXPECT_LT(rise, high) << "s " << s;
    EXPECT_NEAR(out.back() / value - 1, rise, 5e-4) << "s " << s;
  }
}

TEST_P(BlurFamilyTest, ImpulseResponseIsASymmetricGaussian) {
  std::vector<double> line(201, 0.0);
  line[100] = 1.0;
  const std::vector<double> out = filterLine(family(), line, DericheCoefficients(5.0, 0));
  EXPECT_NEAR(out[100], 0.0797, 0.0005);
  double sum = 0;
  for (double v : out) sum += v;
  EXPECT_NEAR(sum, 1.0, 1e-3);
  for (int k = 1; k <= 30; ++k) {
    EXPECT_NEAR(out[100 + k], out[100 - k], 1e-6) << k;
    EXPECT_NEAR(out[100 + k], out[100] * std::exp(-0.5 * k * k / 25.0), 0.002) << k;
  }
}

TEST_P(BlurFamilyTest, FirstDerivativeOfASymmetricBumpIsAntisymmetric) {
  std::vector<double> line(201);
  for (int i = 0; i < 201; ++i) line[i] = std::exp(-0.5 * (i - 100) * (i - 100) / 36.0);
  const std::vector<double> out = filterLine(family(), line, DericheCoefficients(4.0, 1));
  double peak = 0;
  for (double v : out) peak = std::max(peak, std::abs(v));
  EXPECT_GT(peak, 0.02);
  for (int k = 1; k <= 60; ++k) {
    EXPECT_NEAR(out[100 + k], -out[100 - k], peak * 0.01) << k;
    if (k <= 15) {
      EXPECT_GT(std::abs(out[100 + k]), peak * 0.1) << k;
    }
  }
}

TEST_P(BlurFamilyTest, LineShorterThanTheEdgeWeightsUsesAllItsSamples) {
  // 20 samples against 105 weights; what lies beyond the line is NaN.
  const DericheCoefficients c(30.0, 0);
  const double value = 0.6;
  const std::vector<double> out = filterLine(family(), std::vector<double>(20, value), c, 64);
  for (double v : out) {
    EXPECT_GE(v, value * (1 - 1e-5));
    EXPECT_LE(v, value * (1 + c.n0 * c.norm * 1.0001));
  }
}

// Records the reports and checks that the reported row is written and the
// next one untouched at that moment.
struct RowCheckingProgress : Progress {
  RowCheckingProgress(Plane& output, std::int64_t base, int throwAt)
      : output(output), base(base), throwAt(throwAt) {}
  bool rowWritten(int y) {
    const unsigned char* row = output.pixel(0, y);
    return std::none_of(row, row + output.width * output.pixelBytes, [](unsigned char b) { return b == kSentinel; });
  }
  bool rowUntouched(int y) {
    const unsigned char* row = output.pixel(0, y);
    return std::all_of(row, row + output.width * output.pixelBytes, [](unsigned char b) { return b == kSentinel; });
  }
  void report(std::int64_t current, std::int64_t total) override {
    reports.push_back(current);
    EXPECT_EQ(total, 7777);
    const int row = int(current - base);
    EXPECT_TRUE(rowWritten(row)) << row;
    if (row + 1 < output.height) {
      EXPECT_TRUE(rowUntouched(row + 1)) << row + 1;
    }
    if (int(reports.size()) == throwAt) throw Interrupted();
  }
  Plane& output;
  std::int64_t base;
  int throwAt;
  std::vector<std::int64_t> reports;
};

TEST_P(BlurFamilyTest, ReportsRightAfterLinesAtMultiplesOf32) {
  for (const std::int32_t coordinate0 : {-37, 13}) {
    Plane source(BlurSamples::Unsigned8, 40, 160), output(BlurSamples::Unsigned8, 30, 160);
    source.fill(100);
    RowCheckingProgress progress(output, 1000, -1);
    std::vector<unsigned char> scratch(blurScratchBytes(family(), 40));
    blurLineRange(family(), BlurSamples::Unsigned8, rowsOf(source, output, 5), DericheCoefficients(3.0, 0), 3, 150,
                  scratch.data(), coordinate0, progress, 1000, 7777);
    std::vector<std::int64_t> expected;
    for (std::int64_t line = 3; line < 150; ++line)
      if ((coordinate0 + line) % 32 == 0) expected.push_back(1000 + line);
    EXPECT_EQ(progress.reports, expected) << "first coordinate " << coordinate0;
    EXPECT_TRUE(progress.rowUntouched(2));
    EXPECT_TRUE(progress.rowWritten(149));
    EXPECT_TRUE(progress.rowUntouched(150));
    EXPECT_EQ(lastLevelRun(), GetParam().level);
  }
}

TEST_P(BlurFamilyTest, AnExceptionFromAReportStopsTheRange) {
  Plane source(BlurSamples::Float32, 40, 160), output(BlurSamples::Float32, 40, 160);
  source.fill(0.25);
  RowCheckingProgress progress(output, 0, 2);
  std::vector<unsigned char> scratch(blurScratchBytes(family(), 40));
  EXPECT_THROW(blurLineRange(family(), BlurSamples::Float32, rowsOf(source, output, 0), DericheCoefficients(3.0, 0),
                             3, 150, scratch.data(), -37, progress, 0, 7777),
               Interrupted);
  ASSERT_EQ(progress.reports.size(), 2u);  // after rows 5 and 37
  EXPECT_TRUE(progress.rowWritten(37));
  for (int y = 38; y < 160; ++y) ASSERT_TRUE(progress.rowUntouched(y)) << y;
}

// Each family computes the same v for every sample kind, so an integer result
// must be the family's rounding of the float32 result for the same samples.
TEST_P(BlurFamilyTest, IntegerStoresRoundLikeTheFamily) {
  std::mt19937 random(5);
  for (BlurSamples kind :
       {BlurSamples::Unsigned8, BlurSamples::Unsigned16White32768, BlurSamples::Unsigned16OtherWhite}) {
    for (std::int32_t order : {0, 1, 2}) {
      const DericheCoefficients c(2.5, order);
      Plane source(kind, 80, 6), asFloat(BlurSamples::Float32, 80, 6);
      fillRandom(source, random);
      for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 80; ++x)
          for (int ch = 0; ch < 4; ++ch) asFloat.set(x, y, ch, source.get(x, y, ch));
      Plane output(kind, 70, 6), floatOutput(BlurSamples::Float32, 70, 6);
      filter(family(), kind, rowsOf(source, output, 4), c, 0, 6);
      filter(family(), BlurSamples::Float32, rowsOf(asFloat, floatOutput, 4), c, 0, 6);
      int compared = 0;
      for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 70; ++x)
          for (int ch = 0; ch < 4; ++ch) {
            const double v = floatOutput.get(x, y, ch);
            double expected;
            if (family() == BlurFamily::Vector)
              expected = vectorStore(float(v), kind);
            else if (!scalarStore(v, kind, expected))
              continue;
            ++compared;
            ASSERT_EQ(output.get(x, y, ch), expected) << kindName(kind) << " order " << order << " v " << v;
          }
      EXPECT_GT(compared, 70 * 6 * 4 * 9 / 10);
    }
  }
}

// Worlds may run bottom up: a negative sample step walks a column upwards,
// which must equal walking the flipped image downwards.
TEST_P(BlurFamilyTest, NegativeStepsWalkTheLinesBackwards) {
  std::mt19937 random(3);
  const BlurSamples kind = BlurSamples::Unsigned16OtherWhite;
  Plane source(kind, 37, 50), flipped(kind, 37, 50);
  fillRandom(source, random);
  for (int y = 0; y < 50; ++y)
    std::memcpy(flipped.pixel(0, 49 - y), source.pixel(0, y), std::size_t(source.stride));
  Plane upwards(kind, 37, 40), downwards(kind, 37, 40);
  const BlurLines up{source.pixel(0, 49), source.pixelBytes, -source.stride, 50,
                     upwards.pixel(0, 39), upwards.pixelBytes, -upwards.stride, 40, 6};
  filter(family(), kind, up, DericheCoefficients(3.5, 0), 0, 37, 3);
  filter(family(), kind, columnsOf(flipped, downwards, 6), DericheCoefficients(3.5, 0), 0, 37, 3);
  for (int y = 0; y < 40; ++y)
    ASSERT_EQ(std::memcmp(upwards.pixel(0, 39 - y), downwards.pixel(0, y), 37 * 8), 0) << y;
}

INSTANTIATE_TEST_SUITE_P(Blur, BlurFamilyTest, testing::Values(kScalar, kSSE2, kAVX),
                         [](const testing::TestParamInfo<BlurLevel>& info) { return info.param.name; });

// The vector family at one of its levels, for one sample kind.
class BlurVectorTest : public testing::TestWithParam<std::tuple<BlurSamples, BlurLevel>> {
 protected:
  void SetUp() override {
    if (!forceLevel(std::get<1>(GetParam()))) GTEST_SKIP() << "no " << std::get<1>(GetParam()).name;
  }
  void TearDown() override { restrictProcessorFlags(~ProcessorFlags(0)); }
  BlurSamples kind() const { return std::get<0>(GetParam()); }
};

// The vector family's arithmetic written out for one channel of one line:
// single-precision coefficients, edge estimates and feed-forward sums, the
// feedback in double, and the store from float(p + q) × norm.
std::vector<double> vectorModel(const std::vector<double>& samples, std::int64_t first, std::int64_t count,
                                const DericheCoefficients& c, BlurSamples kind) {
  const std::int64_t n = std::int64_t(samples.size());
  std::vector<float> x(samples.begin(), samples.end());
  const float n0 = float(c.n0), n1 = float(c.n1), n2 = float(c.n2), n3 = float(c.n3);
  const float m1 = float(c.m1), m2 = float(c.m2), m3 = float(c.m3), m4 = float(c.m4), norm = float(c.norm);
  const std::int64_t edgeCount = c.order == 0 ? std::min<std::int64_t>(n, c.edgeWeights.size()) : 0;
  auto estimate = [&](bool fromEnd, float& e, double& y) {
    float sum = 0, weightSum = 0;
    for (std::int64_t i = 0; i < edgeCount; ++i) {
      sum = sum + x[fromEnd ? n - 1 - i : i] * float(c.edgeWeights[i]);
      weightSum = weightSum + float(c.edgeWeights[i]);
    }
    if (weightSum != 0) sum = sum / weightSum;
    e = sum;
    y = (1.0f / norm + n0) * sum * 0.5f;
  };
  float e;
  double y;
  estimate(false, e, y);
  std::vector<double> p(n);
  float x1 = e, x2 = e, x3 = e, x4;
  double h1 = y, h2 = y, h3 = y, h4 = y;
  for (std::int64_t i = 0; i < n; ++i) {
    float ff = n0 * x[i];
    ff = ff + n1 * x1;
    ff = ff + n2 * x2;
    ff = ff + n3 * x3;
    p[i] = double(ff) - c.d1 * h1 - c.d2 * h2 - c.d3 * h3 - c.d4 * h4;
    x3 = x2, x2 = x1, x1 = x[i];
    h4 = h3, h3 = h2, h2 = h1, h1 = p[i];
  }
  estimate(true, e, y);
  x1 = x2 = x3 = x4 = e;
  h1 = h2 = h3 = h4 = y;
  for (std::int64_t j = n - 1; j >= first; --j) {
    float ff = m1 * x1;
    ff = ff + m2 * x2;
    ff = ff + m3 * x3;
    ff = ff + m4 * x4;
    const double q = double(ff) - c.d1 * h1 - c.d2 * h2 - c.d3 * h3 - c.d4 * h4;
    p[j] = p[j] + q;
    x4 = x3, x3 = x2, x2 = x1, x1 = x[j];
    h4 = h3, h3 = h2, h2 = h1, h1 = q;
  }
  std::vector<double> out(count);
  for (std::int64_t i = 0; i < count; ++i) out[i] = vectorStore(float(p[first + i]) * norm, kind);
  return out;
}

TEST_P(BlurVectorTest, IsExactlyItsSinglePrecisionArithmetic) {
  const BlurSamples kind = this->kind();
  std::mt19937 random(77);
  for (std::int32_t order : {0, 1, 2})
    for (double s : {0.001, 1.5, 8.0, 30.0, 60.0}) {
      const DericheCoefficients c(s, order);
      Plane source(kind, 301, 5), output(kind, 280, 5);
      fillRandom(source, random);
      filter(BlurFamily::Vector, kind, rowsOf(source, output, 13), c, 0, 5);
      for (int y = 0; y < 5; ++y)
        for (int ch = 0; ch < 4; ++ch) {
          std::vector<double> line(301);
          for (int x = 0; x < 301; ++x) line[x] = source.get(x, y, ch);
          const std::vector<double> expected = vectorModel(line, 13, 280, c, kind);
          for (int x = 0; x < 280; ++x)
            ASSERT_EQ(output.get(x, y, ch), expected[x])
                << "order " << order << " s " << s << " at " << x << "," << y << "," << ch;
        }
    }
}

// Up to s = 20 (12 in float and for the derivatives). Beyond, the
// single-precision feed-forward sums, which cancel ever more as s grows,
// cost more: up to 2 steps at 16 bits at s = 30, and 2e-5 of full scale in
// float from about s = 20.
TEST_P(BlurVectorTest, WithinOneStepOfScalar) {
  const BlurSamples kind = this->kind();
  std::mt19937 random(1234);
  for (std::int32_t order : {0, 1, 2})
    for (double s : {0.7, 3.0, 12.0, 20.0}) {
      if ((kind == BlurSamples::Float32 || order != 0) && s > 12) continue;
      const DericheCoefficients c(s, order);
      Plane source(kind, 61, 37);
      fillRandom(source, random);
      for (bool columns : {false, true}) {
        Plane scalar(kind, columns ? 61 : 47, columns ? 27 : 37), vector = scalar;
        const BlurLines scalarLines = columns ? columnsOf(source, scalar, 5) : rowsOf(source, scalar, 7);
        const BlurLines vectorLines = columns ? columnsOf(source, vector, 5) : rowsOf(source, vector, 7);
        const std::int64_t lineCount = columns ? 61 : 37;
        filter(BlurFamily::Scalar, kind, scalarLines, c, 0, lineCount);
        filter(BlurFamily::Vector, kind, vectorLines, c, 0, lineCount);
        for (int y = 0; y < scalar.height; ++y)
          for (int x = 0; x < scalar.width; ++x)
            for (int ch = 0; ch < 4; ++ch) {
              const double a = scalar.get(x, y, ch), b = vector.get(x, y, ch);
              const double tolerance = kind == BlurSamples::Float32 ? 2e-5 * 2.5 : 1.0;
              EXPECT_NEAR(a, b, tolerance) << "order " << order << " s " << s << (columns ? " columns" : " rows")
                                           << " at " << x << "," << y << "," << ch;
            }
        EXPECT_EQ(scalar.bytes.size(), vector.bytes.size());
        // Guard bytes after each row survive.
        for (int y = 0; y < vector.height; ++y)
          for (std::int64_t i = vector.width * vector.pixelBytes; i < vector.stride; ++i)
            ASSERT_EQ(vector.bytes[y * vector.stride + i], kSentinel);
      }
    }
}

TEST_P(BlurVectorTest, LinesFilteredTogetherMatchLinesFilteredAlone) {
  const BlurSamples kind = this->kind();
  std::mt19937 random(99);
  Plane source(kind, 45, 39);
  fillRandom(source, random);
  for (std::int32_t order : {0, 1})
    for (bool columns : {false, true}) {
      const DericheCoefficients c(4.5, order);
      Plane together(kind, columns ? 45 : 33, columns ? 30 : 39), alone = together;
      const std::int64_t lineCount = columns ? 45 : 39;
      auto linesOf = [&](Plane& output) { return columns ? columnsOf(source, output, 4) : rowsOf(source, output, 6); };
      filter(BlurFamily::Vector, kind, linesOf(together), c, 0, lineCount, 5);
      for (std::int64_t line = 0; line < lineCount; ++line)
        filter(BlurFamily::Vector, kind, linesOf(alone), c, line, line + 1, 5);
      EXPECT_TRUE(together.bytes == alone.bytes) << "order " << order << (columns ? " columns" : " rows");
    }
}

// The scratch that blurScratchBytes asks for is enough at the worst
// alignment, for rows and for columns, and nothing past it is touched.
TEST_P(BlurVectorTest, StaysInsideItsScratch) {
  const BlurSamples kind = this->kind();
  std::mt19937 random(11);
  Plane source(kind, 150, 140), output(kind, 150, 140);
  fillRandom(source, random);
  for (bool columns : {false, true}) {
    const BlurLines lines = columns ? columnsOf(source, output, 0) : rowsOf(source, output, 0);
    const std::size_t bytes = blurScratchBytes(BlurFamily::Vector, lines.n);
    std::vector<unsigned char> scratch(1 + bytes + 256, kSentinel);
    NoProgress none;
    blurLineRange(BlurFamily::Vector, kind, lines, DericheCoefficients(30.0, 0), 0, 140, scratch.data() + 1, 0, none,
                  0, 1);
    for (std::size_t i = 1 + bytes; i < scratch.size(); ++i)
      ASSERT_EQ(scratch[i], kSentinel) << (columns ? "columns" : "rows") << ", " << i - 1 - bytes << " bytes past";
  }
}

INSTANTIATE_TEST_SUITE_P(Blur, BlurVectorTest,
                         testing::Combine(testing::Values(BlurSamples::Float32, BlurSamples::Unsigned16White32768,
                                                          BlurSamples::Unsigned16OtherWhite, BlurSamples::Unsigned8),
                                          testing::Values(kSSE2, kAVX)),
                         [](const testing::TestParamInfo<std::tuple<BlurSamples, BlurLevel>>& info) {
                           return std::string(kindName(std::get<0>(info.param))) + "_" + std::get<1>(info.param).name;
                         });

// AVX and SSE2 run the same arithmetic in registers of different width:
// every byte they store must agree, for every kind of sample, on rows and
// on columns (neighbouring pixels or not, walked either way), for odd
// numbers of lines, derivatives, deviations below one sample and beyond
// the line, and in float for values that overflow.
class BlurAVXTest : public testing::TestWithParam<BlurSamples> {
 protected:
  void SetUp() override {
    if (!hasAVX()) GTEST_SKIP() << "no AVX";
  }
  void TearDown() override { restrictProcessorFlags(~ProcessorFlags(0)); }
};

TEST_P(BlurAVXTest, StoresTheSameBytesAsSSE2) {
  const BlurSamples kind = GetParam();
  std::mt19937 random(2024);
  Plane source(kind, 77, 69);
  fillRandom(source, random);
  if (kind == BlurSamples::Float32) {
    const float infinity = std::numeric_limits<float>::infinity();
    source.set(9, 5, 0, infinity), source.set(60, 40, 2, -infinity), source.set(20, 30, 1, 3e38);
    source.set(3, 1, 3, std::nanf(""));  // alone on its row and on its column
  }
  struct Case {
    const char* name;
    bool columns;
    std::int64_t lineStep;  // in pixels; columns only
  };
  const Case cases[] = {{"rows", false, 1}, {"columns", true, 1}, {"every other column", true, 2},
                        {"columns right to left", true, -1}};
  for (std::int32_t order : {0, 1, 2})
    for (double s : {0.3, 2.5, 30.0})
      for (const Case& set : cases) {
        const DericheCoefficients c(s, order);
        Plane sse2(kind, 77, 69), avx(kind, 77, 69);
        auto linesOf = [&](Plane& output) {
          // Outputs end short of the source, so that the backward pass also
          // runs where nothing is stored.
          if (!set.columns) {
            BlurLines lines = rowsOf(source, output, 3);
            lines.count = output.width - 7;
            return lines;
          }
          BlurLines lines = columnsOf(source, output, 5);
          lines.count = output.height - 9;
          lines.sourceLineStep *= set.lineStep, lines.outputLineStep *= set.lineStep;
          if (set.lineStep < 0) lines.source = source.pixel(76, 0), lines.output = output.pixel(76, 0);
          return lines;
        };
        const std::int64_t lineCount = set.columns ? 77 / std::abs(set.lineStep) : 69;
        restrictProcessorFlags(kFlagSSE2);
        filter(BlurFamily::Vector, kind, linesOf(sse2), c, 1, lineCount, 7);
        ASSERT_EQ(lastLevelRun(), KernelLevel::SSE2);
        restrictProcessorFlags(kFlagSSE2 | kFlagAVX);
        filter(BlurFamily::Vector, kind, linesOf(avx), c, 1, lineCount, 7);
        ASSERT_EQ(lastLevelRun(), KernelLevel::AVX);
        ASSERT_TRUE(sse2.bytes == avx.bytes) << set.name << ", order " << order << ", s " << s;
      }
}

INSTANTIATE_TEST_SUITE_P(Blur, BlurAVXTest,
                         testing::Values(BlurSamples::Float32, BlurSamples::Unsigned16White32768,
                                         BlurSamples::Unsigned16OtherWhite, BlurSamples::Unsigned8),
                         [](const testing::TestParamInfo<BlurSamples>& info) { return kindName(info.param); });

}  // namespace
}  // namespace OZ::Image
