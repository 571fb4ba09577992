// strobe-quirk with image files, run as a user runs it: the file route
// renders the pixels the raw route renders for the same layer, in each kind
// and depth; OpenEXR's premultiplied colour comes back as it went in; bad
// files and missing frames are refused with nothing written. The files are
// made and read here with OpenImageIO directly, not through the tool.

#include <OpenImageIO/imageio.h>

#include <cmath>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tool_process.h"

namespace StrobeQuirk::Testing {
namespace {

namespace fs = std::filesystem;
using OIIO::TypeDesc;

// OpenImageIO is not built with the sanitizers. Reading here keeps to the
// calling thread, as the tool does, so that its pool's hand-overs, which
// ThreadSanitizer cannot see, stay out of the picture; and the tools started
// here learn which of its own allocations LeakSanitizer should leave alone.
const bool kImageLibraryPrepared = [] {
  OIIO::attribute("threads", 1);
  OIIO::attribute("exr_threads", 1);
  ::setenv("LSAN_OPTIONS", "suppressions=" OZ_IMAGE_LIBRARY_LEAKS ":print_suppressions=0", 0);
  return true;
}();

constexpr int kWidth = 40, kHeight = 24;
constexpr std::size_t kPixels = std::size_t(kWidth) * kHeight;

// A raw argb frame as four floats a pixel, R G B A, on the file's scale:
// 8-bit as 0..255, 16-bit as 0..65535 (from the effect's 0..32768, rounded
// to nearest), float as it stands.
std::vector<double> rgbaFromRaw(const std::string& bytes, int depth) {
  std::vector<double> rgba(kPixels * 4);
  for (std::size_t i = 0; i < kPixels; ++i)
    for (int c = 0; c < 4; ++c) {
      const int from = (c + 1) % 4;  // argb: alpha first
      double value;
      if (depth == 8) {
        value = static_cast<unsigned char>(bytes[i * 4 + std::size_t(from)]);
      } else if (depth == 16) {
        std::uint16_t v;
        std::memcpy(&v, bytes.data() + (i * 4 + std::size_t(from)) * 2, 2);
        value = std::floor(double(v) * 65535.0 / 32768.0 + 0.5);
      } else {
        float v;
        std::memcpy(&v, bytes.data() + (i * 4 + std::size_t(from)) * 4, 4);
        value = v;
      }
      rgba[i * 4 + std::size_t(c)] = value;
    }
  return rgba;
}

void premultiply(std::vector<double>& rgba) {
  for (std::size_t i = 0; i < kPixels; ++i)
    for (int c = 0; c < 3; ++c) rgba[i * 4 + std::size_t(c)] = float(rgba[i * 4 + std::size_t(c)]) * float(rgba[i * 4 + 3]);
}

void writeImage(const std::string& path, const std::vector<double>& rgba, TypeDesc type, int channels = 4) {
  auto out = OIIO::ImageOutput::create(path);
  ASSERT_TRUE(out) << path;
  OIIO::ImageSpec header(kWidth, kHeight, channels, type);
  if (channels == 4) header.attribute("oiio:UnassociatedAlpha", 1);
  ASSERT_TRUE(out->open(path, header)) << out->geterror();
  std::vector<float> samples;
  for (std::size_t i = 0; i < kPixels; ++i)
    for (int c = 0; c < channels; ++c) {
      const double value = rgba[i * 4 + std::size_t(c)];
      samples.push_back(type == TypeDesc::UINT8 ? float(value / 255.0) : type == TypeDesc::UINT16 ? float(value / 65535.0) : float(value));
    }
  ASSERT_TRUE(out->write_image(TypeDesc::FLOAT, samples.data())) << out->geterror();
  ASSERT_TRUE(out->close());
}

struct Image {
  OIIO::ImageSpec header;
  std::vector<double> samples;  // on the file's scale, as rgbaFromRaw
  int subimages = 0;
};

Image readImage(const std::string& path) {
  OIIO::ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);
  auto in = OIIO::ImageInput::open(path, &config);
  Image image;
  if (!in) {
    ADD_FAILURE() << "cannot read " << path << ": " << OIIO::geterror();
    return image;
  }
  image.header = in->spec();
  std::vector<float> samples(image.header.image_pixels() * std::size_t(image.header.nchannels));
  EXPECT_TRUE(in->read_image(0, 0, 0, image.header.nchannels, TypeDesc::FLOAT, samples.data())) << in->geterror();
  const double scale = image.header.format == TypeDesc::UINT8 ? 255.0 : image.header.format == TypeDesc::UINT16 ? 65535.0 : 1.0;
  for (float s : samples) image.samples.push_back(scale == 1.0 ? double(s) : std::floor(double(s) * scale + 0.5));
  while (in->seek_subimage(image.subimages, 0)) ++image.subimages;
  return image;
}

class ImageFilesTest : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    if (IsSkipped()) return;
    for (const char* format : {"argb8", "argb16", "argb32"})
      ASSERT_EQ(run(std::string("sample --frames 0-7 --format ") + format + " --size 40x24 " +
                    file(std::string(format) + "_%d.raw")).status, 0);
  }
  std::string rawFrame(int depth, int frame) const {
    return file("argb" + std::to_string(depth == 32 ? 32 : depth) + "_" + std::to_string(frame) + ".raw");
  }
  // The raw route's output for frame `frame` of layer `layer`.
  std::string rawRender(int depth, int layer, const std::string& frameOptions) {
    const Outcome outcome = run("render " + frameOptions + " --format argb" + std::to_string(depth) +
                                " --size 40x24 " + rawFrame(depth, layer) + " " + file("raw_out.raw"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return readFile(file("raw_out.raw"));
  }
  Outcome renderFile(const std::string& options, const std::string& in, const std::string& out) {
    const Outcome outcome = run("render " + options + " " + file(in) + " " + file(out));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    return outcome;
  }
};

TEST_F(ImageFilesTest, TheFileRouteRendersTheRawRoutesPixelsInEachKindAndDepth) {
  const struct {
    const char* name;
    int depth;  // of the raw frames and the effect
    TypeDesc type;
    double tolerance;  // on the file's scale
  } kinds[] = {
      {"png8.png", 8, TypeDesc::UINT8, 0},   {"png16.png", 16, TypeDesc::UINT16, 0},
      {"tif8.tif", 8, TypeDesc::UINT8, 0},   {"tif16.tif", 16, TypeDesc::UINT16, 0},
      {"tiff.tif", 32, TypeDesc::FLOAT, 0},  {"exr.exr", 32, TypeDesc::FLOAT, 2e-6},
  };
  for (const auto& kind : kinds) {
    SCOPED_TRACE(kind.name);
    for (int frame : {0, 2, 6}) {  // pulses and a gap
      const std::string options = "--frame " + std::to_string(frame);
      std::vector<double> layer = rgbaFromRaw(readFile(rawFrame(kind.depth, frame)), kind.depth);
      std::vector<double> expected = rgbaFromRaw(rawRender(kind.depth, frame, options), kind.depth);
      const bool exr = std::string(kind.name).find(".exr") != std::string::npos;
      if (exr) {
        premultiply(layer);
        premultiply(expected);
      }
      writeImage(file(kind.name), layer, kind.type);
      renderFile(options, kind.name, std::string("out_") + kind.name);
      const Image out = readImage(file(std::string("out_") + kind.name));
      ASSERT_EQ(out.header.format, kind.type);
      ASSERT_EQ(out.header.nchannels, 4);
      ASSERT_EQ(out.samples.size(), expected.size());
      for (std::size_t i = 0; i < expected.size(); ++i)
        ASSERT_NEAR(out.samples[i], expected[i], kind.tolerance * std::max(1.0, std::fabs(expected[i])))
            << "frame " << frame << ", sample " << i;
    }
  }
}

TEST_F(ImageFilesTest, OpenExrColourComesBackAsItWentIn) {
  // --unmasked on a pulse passes the layer through: made straight for the
  // effect and premultiplied again, the file's values survive within the
  // rounding of one division and one multiplication.
  std::vector<double> layer = rgbaFromRaw(readFile(rawFrame(32, 1)), 32);
  premultiply(layer);
  for (const TypeDesc& type : {TypeDesc(TypeDesc::FLOAT), TypeDesc(TypeDesc::HALF)}) {
    writeImage(file("in.exr"), layer, type);
    const Image in = readImage(file("in.exr"));
    renderFile("--frame 6 --unmasked", "in.exr", "out.exr");
    const Image out = readImage(file("out.exr"));
    EXPECT_EQ(out.header.format, type) << "the depth follows the file";
    ASSERT_EQ(out.samples.size(), in.samples.size());
    const double tolerance = type == TypeDesc::HALF ? 1.0 / 1024 : 1e-6;
    for (std::size_t i = 0; i < in.samples.size(); ++i)
      ASSERT_NEAR(out.samples[i], in.samples[i], tolerance * std::max(1.0, std::fabs(in.samples[i]))) << i;
  }
}

TEST_F(ImageFilesTest, DepthFollowsTheFileUnlessToldAndAFileWithoutAlphaIsOpaque) {
  std::vector<double> layer = rgbaFromRaw(readFile(rawFrame(8, 1)), 8);
  writeImage(file("rgb.png"), layer, TypeDesc::UINT8, 3);
  renderFile("--frame 6 --unmasked", "rgb.png", "opaque.png");
  const Image opaque = readImage(file("opaque.png"));
  ASSERT_EQ(opaque.header.nchannels, 4);
  for (std::size_t i = 0; i < kPixels; ++i) {
    ASSERT_EQ(opaque.samples[i * 4 + 3], 255) << i;
    for (int c = 0; c < 3; ++c) ASSERT_EQ(opaque.samples[i * 4 + std::size_t(c)], layer[i * 4 + std::size_t(c)]) << i;
  }
  // 8-bit values widen to 16 bits as v * 257, and to float as v / 255.
  renderFile("--frame 6 --unmasked --depth 16", "rgb.png", "wide.png");
  renderFile("--frame 6 --unmasked --depth float", "rgb.png", "wide.tif");
  const Image wide = readImage(file("wide.png")), floats = readImage(file("wide.tif"));
  ASSERT_EQ(wide.header.format, TypeDesc::UINT16);
  ASSERT_EQ(floats.header.format, TypeDesc::FLOAT);
  for (std::size_t i = 0; i < opaque.samples.size(); ++i) {
    ASSERT_EQ(wide.samples[i], opaque.samples[i] * 257) << i;
    ASSERT_FLOAT_EQ(float(floats.samples[i]), float(opaque.samples[i]) / 255.0f) << i;
  }
  // Raw output from an image file: the effect's own format at the file's depth.
  renderFile("--frame 6 --unmasked", "wide.png", "back.raw");
  EXPECT_EQ(readFile(file("back.raw")).size(), kPixels * 8);
}

TEST_F(ImageFilesTest, SequencesSplitRangesAndAnimations) {
  fs::create_directory(dir_ / "in");
  for (int frame = 0; frame <= 7; ++frame)
    ASSERT_EQ(run("render --frame 6 --unmasked --format argb8 --size 40x24 " + rawFrame(8, frame) + " " +
                  file("in/" + std::to_string(frame) + ".png")).status, 0);
  for (const char* folder : {"whole", "split"}) fs::create_directory(dir_ / folder);
  renderFile("--frames 0-7", "in/%d.png", "whole/####.tif");
  renderFile("--frames 4-7", "in/%d.png", "split/####.tif");
  renderFile("--frames 0-3", "in/%d.png", "split/%04d.tif");
  for (int frame = 0; frame <= 7; ++frame) {
    const std::string name = "000" + std::to_string(frame) + ".tif";
    ASSERT_TRUE(fs::exists(dir_ / "whole" / name)) << name;
    EXPECT_TRUE(readFile(file("split/" + name)) == readFile(file("whole/" + name))) << name;
  }
  renderFile("--frames 2-7 --fps 12", "in/%d.png", "anim.gif");
  const Image animation = readImage(file("anim.gif"));
  EXPECT_EQ(animation.subimages, 6);
  // Frames 0-1 and 5-6 glow; the sheet of the PNG frames holds them all.
  const Outcome sheet = run("sheet --frames 0-7 --columns 4 " + file("whole/####.tif") + " " + file("sheet.png"));
  ASSERT_EQ(sheet.status, 0) << sheet.err;
  const Image contact = readImage(file("sheet.png"));
  EXPECT_EQ(contact.header.width, 4 + 4 * (40 + 4));
  EXPECT_EQ(contact.header.height, 4 + 2 * (24 + 14 + 4));
}

TEST_F(ImageFilesTest, BadFilesAndMissingFramesAreRefusedWithNothingWritten) {
  fs::create_directory(dir_ / "seq");
  for (int frame : {0, 1, 3})
    ASSERT_EQ(run("render --frame 6 --unmasked --format argb8 --size 40x24 " + rawFrame(8, frame) + " " +
                  file("seq/" + std::to_string(frame) + ".png")).status, 0);
  const std::string png = readFile(file("seq/0.png"));
  write("truncated.png", png.substr(0, png.size() / 2));
  write("text.exr", "not an image at all\n");
  write("empty.png", "");
  const struct {
    std::string arguments, says;
  } cases[] = {
      {"render --frames 0-3 " + file("seq/%d.png") + " " + file("out%d.png"),
       "cannot read " + file("seq/2.png") + ": no such file"},
      {"render --frame 0 " + file("truncated.png") + " " + file("out.png"), "cannot read " + file("truncated.png")},
      {"render --frame 0 " + file("text.exr") + " " + file("out.exr"), "cannot read " + file("text.exr")},
      {"render --frame 0 " + file("empty.png") + " " + file("out.png"), "cannot read " + file("empty.png")},
      {"render --frame 0 " + file("seq/0.png") + " " + file("out.mp4"), "no image writer for .mp4 files"},
      {"render --frame 0 --format argb8 --size 40x24 " + file("seq/0.png") + " " + file("out.png"),
       "--format and --size are for raw frames"},
      {"render --frame 0 " + file("seq/0.png") + " " + file("out.raw") + " --depth 16", "--depth is for image files"},
      {"render --frame 0 --depth 12 " + file("seq/0.png") + " " + file("out.png"), "--depth must be 8, 16 or float"},
      {"render --frame 0 --fps 10 " + file("seq/0.png") + " " + file("out.png"), "--fps is for animations"},
      {"render --frame 0 " + file("seq/0.raw") + " " + file("out.png"), "give --format and --size"},
      {"sheet --frames 0-3 " + file("seq/%d.png") + " " + file("sheet.png"), "cannot read " + file("seq/2.png")},
      {"sheet --frames 0-1 " + file("truncated.png") + " " + file("sheet.png"), "IN_PATTERN"},
  };
  for (const auto& refused : cases) expectRefused(refused.arguments, refused.says);
  // A truncated frame in the middle of a sequence stops the run before the
  // first frame is written.
  fs::copy_file(file("truncated.png"), file("seq/2.png"));
  expectRefused("render --frames 0-3 " + file("seq/%d.png") + " " + file("out%d.png"), "cannot read " + file("seq/2.png"));
}

}  // namespace
}  // namespace StrobeQuirk::Testing
