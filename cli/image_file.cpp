#include "cli/image_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>

#include "cli/command.h"
#include "cli/file_access.h"
#include "cli/file_components.h"

namespace StrobeQuirk::Cli {
namespace {

using OIIO::ImageInput;
using OIIO::ImageOutput;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

// The library works on the calling thread only: the same steps on every
// run, and no threads of its own left behind.
void configureLibrary() {
  static const bool configured = [] {
    OIIO::attribute("threads", 1);
    OIIO::attribute("exr_threads", 1);
    return true;
  }();
  (void)configured;
}

// Some codecs under the library print their complaints straight to
// standard error; the tool says what went wrong in its own one line, so
// standard error is closed to them while they work.
class QuietStandardError {
 public:
  QuietStandardError() : saved_(::dup(STDERR_FILENO)) {
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (saved_ >= 0 && nowhere >= 0) ::dup2(nowhere, STDERR_FILENO);
    if (nowhere >= 0) ::close(nowhere);
  }
  ~QuietStandardError() {
    if (saved_ < 0) return;
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
  }
  QuietStandardError(const QuietStandardError&) = delete;
  QuietStandardError& operator=(const QuietStandardError&) = delete;

 private:
  int saved_;
};

std::string extensionOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::size_t dot = path.rfind('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
  std::string extension = path.substr(dot + 1);
  for (char& c : extension) c = char(std::tolower(static_cast<unsigned char>(c)));
  return extension;
}

// The library's message, one line.
std::string firstLine(std::string text) {
  text = text.substr(0, text.find('\n'));
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.pop_back();
  return text.empty() ? "not an image the library can read" : text;
}

SampleDepth storedDepth(TypeDesc type) {
  switch (type.basetype) {
    case TypeDesc::UINT8: return SampleDepth::Byte;
    case TypeDesc::UINT16: return SampleDepth::Short;
    case TypeDesc::HALF: return SampleDepth::Half;
    default: return SampleDepth::Float;  // the library scales other kinds to float
  }
}

const RawFormat& effectFormat(SampleDepth depth) {
  return rawFormat(depth == SampleDepth::Byte ? "argb8" : depth == SampleDepth::Short ? "argb16" : "argb32");
}

// Interleaved file samples of type T (uint8, uint16 or float) into the
// effect's format of the same depth.
template <typename T>
void fileSamplesIntoFrame(const std::vector<T>& samples, int channels, int alphaChannel, Frame& frame) {
  const ComponentPlaces places = componentPlaces(*frame.format);
  T* out = reinterpret_cast<T*>(frame.bytes.data());
  const std::size_t pixels = std::size_t(frame.size.width) * std::size_t(frame.size.height);
  const bool grey = channels < 3;
  for (std::size_t i = 0; i < pixels; ++i) {
    const T* in = samples.data() + i * std::size_t(channels);
    T* pixel = out + i * 4;
    auto effect = [](T stored) {
      if constexpr (sizeof(T) == 2) return T(effect16FromFile16(stored));
      return stored;
    };
    T opaque;
    if constexpr (sizeof(T) == 1) opaque = 255;
    else if constexpr (sizeof(T) == 2) opaque = 32768;
    else opaque = 1.0f;
    pixel[places.red] = effect(in[0]);
    pixel[places.green] = effect(in[grey ? 0 : 1]);
    pixel[places.blue] = effect(in[grey ? 0 : 2]);
    pixel[places.alpha] = alphaChannel >= 0 ? effect(in[alphaChannel]) : opaque;
  }
}

}  // namespace

bool imageFilesAvailable() { return true; }

std::string imageFileSupport() {
  configureLibrary();
  std::string formats;
  OIIO::getattribute("format_list", formats);
  return "image files through OpenImageIO " + std::string(OIIO_VERSION_STRING) + ": " + formats;
}

bool namesImageFile(const std::string& path) {
  const std::string extension = extensionOf(path);
  if (extension.empty() || extension == "raw") return false;
  configureLibrary();
  std::string list;
  OIIO::getattribute("extension_list", list);
  // "format:ext,ext;format:ext,..."
  for (std::size_t start = 0; start < list.size();) {
    std::size_t end = list.find(';', start);
    if (end == std::string::npos) end = list.size();
    const std::string entry = list.substr(start, end - start);
    const std::size_t colon = entry.find(':');
    std::size_t at = colon == std::string::npos ? entry.size() : colon + 1;
    while (at < entry.size()) {
      std::size_t comma = entry.find(',', at);
      if (comma == std::string::npos) comma = entry.size();
      if (entry.compare(at, comma - at, extension) == 0 && comma - at == extension.size()) return true;
      at = comma + 1;
    }
    start = end + 1;
  }
  return false;
}

bool namesAnimation(const std::string& path) { return extensionOf(path) == "gif"; }

ImageFileContents readImageFile(const std::string& path) {
  configureLibrary();
  // Read through the tool's own file access (a folder, a missing file, a
  // pipe), then decoded from memory.
  std::vector<unsigned char> bytes;
  {
    InputFile file(path);
    std::vector<unsigned char> block(1 << 16);
    for (std::size_t got; (got = file.read(block.data(), block.size())) > 0;) {
      if (bytes.size() + got > kMaxFrameBytes * 2) throw UsageError("cannot read " + path + ": too large");
      bytes.insert(bytes.end(), block.begin(), block.begin() + std::ptrdiff_t(got));
    }
  }
  auto refuse = [&](const std::string& why) { return UsageError("cannot read " + path + ": " + firstLine(why)); };
  OIIO::Filesystem::IOMemReader memory(bytes.data(), bytes.size());
  ImageSpec config;
  config.attribute("oiio:UnassociatedAlpha", 1);  // straight colour as the file keeps it
  OIIO::Filesystem::IOProxy* proxy = &memory;
  config.attribute("oiio:ioproxy", TypeDesc::PTR, &proxy);
  const QuietStandardError quiet;
  std::unique_ptr<ImageInput> in = ImageInput::open(path, &config);
  if (!in) throw refuse(OIIO::geterror());
  const ImageSpec header = in->spec();
  if (header.deep) throw refuse("deep images are not taken");
  if (header.width < 1 || header.height < 1 || header.width > kMaxFrameSide || header.height > kMaxFrameSide || header.depth != 1)
    throw refuse(std::to_string(header.width) + "x" + std::to_string(header.height) + " is out of range (each side 1 to " +
                 std::to_string(kMaxFrameSide) + ")");
  const int channels = header.nchannels;
  if (channels < 1) throw refuse("no channels");

  ImageFileContents contents;
  contents.stored = storedDepth(header.format);
  const Size size{header.width, header.height};
  const RawFormat& format = effectFormat(contents.stored);
  checkFrameBytes(format, size);
  contents.frame = Frame{&format, size, std::vector<unsigned char>(rawBytes(format, size))};
  int alphaChannel = header.alpha_channel;
  if (alphaChannel < 0 || alphaChannel >= channels) alphaChannel = channels == 2 ? 1 : channels >= 4 ? 3 : -1;
  contents.premultiplied = alphaChannel >= 0 && header.get_int_attribute("oiio:UnassociatedAlpha", 0) == 0;

  const std::size_t samples = std::size_t(size.width) * std::size_t(size.height) * std::size_t(channels);
  auto readAs = [&](auto sample, TypeDesc type) {
    std::vector<decltype(sample)> buffer(samples);
    if (!in->read_image(0, 0, 0, channels, type, buffer.data())) throw refuse(in->geterror());
    fileSamplesIntoFrame(buffer, channels, alphaChannel, contents.frame);
  };
  switch (contents.stored) {
    case SampleDepth::Byte: readAs(std::uint8_t(0), TypeDesc::UINT8); break;
    case SampleDepth::Short: readAs(std::uint16_t(0), TypeDesc::UINT16); break;
    default: readAs(0.0f, TypeDesc::FLOAT); break;
  }
  in->close();
  return contents;
}

struct ImageFileWriter::State {
  std::string path;
  SampleDepth depth;
  double framesPerSecond;
  std::unique_ptr<ImageOutput> out;
  std::vector<unsigned char> encoded;
  std::unique_ptr<OIIO::Filesystem::IOVecOutput> memory;
  AlphaStorage alpha = AlphaStorage::Straight;
  bool manyFrames = false;
  int frames = 0;
  Size size{0, 0};
};

ImageFileWriter::ImageFileWriter(const std::string& path, SampleDepth depth, double framesPerSecond)
    : state_(std::make_unique<State>()) {
  configureLibrary();
  State& s = *state_;
  s.path = path;
  s.depth = depth;
  s.framesPerSecond = framesPerSecond;
  s.out = ImageOutput::create(path);
  if (!s.out || !s.out->supports("ioproxy")) {
    (void)OIIO::geterror();
    throw UsageError("cannot write " + path + ": no image writer for ." + extensionOf(path) + " files");
  }
  s.memory = std::make_unique<OIIO::Filesystem::IOVecOutput>(s.encoded);
  const std::string kind = s.out->format_name();
  s.manyFrames = namesAnimation(path) && s.out->supports("appendsubimage");
  if (kind == "openexr")
    s.alpha = AlphaStorage::Premultiplied;
  else if (kind == "gif" || !s.out->supports("alpha"))
    s.alpha = AlphaStorage::OverBlack;
}

ImageFileWriter::~ImageFileWriter() = default;

AlphaStorage ImageFileWriter::alphaStorage() const { return state_->alpha; }
bool ImageFileWriter::holdsManyFrames() const { return state_->manyFrames; }

namespace {

// The effect's components of one kind as the file stores them.
template <typename Target, typename Source>
Target fileSample(Source value) {
  if constexpr (std::is_same_v<Target, float>) {
    if constexpr (sizeof(Source) == 1) return floatFromEffect8(value);
    else if constexpr (sizeof(Source) == 2) return floatFromEffect16(value);
    else return value;
  } else if constexpr (sizeof(Target) == 1) {
    if constexpr (sizeof(Source) == 1) return value;
    else if constexpr (sizeof(Source) == 2) return file8FromEffect16(value);
    else return file8FromFloat(value);
  } else {
    if constexpr (sizeof(Source) == 1) return file16FromEffect8(value);
    else if constexpr (sizeof(Source) == 2) return file16FromEffect16(value);
    else return file16FromFloat(value);
  }
}

template <typename Target, typename Source>
std::vector<Target> fileSamples(const Frame& frame, int channels) {
  const ComponentPlaces places = componentPlaces(*frame.format);
  const int order[4] = {places.red, places.green, places.blue, places.alpha};
  const Source* in = reinterpret_cast<const Source*>(frame.bytes.data());
  const std::size_t pixels = std::size_t(frame.size.width) * std::size_t(frame.size.height);
  std::vector<Target> samples(pixels * std::size_t(channels));
  for (std::size_t i = 0; i < pixels; ++i)
    for (int c = 0; c < channels; ++c)
      samples[i * std::size_t(channels) + std::size_t(c)] = fileSample<Target>(in[i * 4 + std::size_t(order[c])]);
  return samples;
}

template <typename Target>
std::vector<Target> fileSamplesOf(const Frame& frame, int channels) {
  switch (frame.format->depth) {
    case 8: return fileSamples<Target, std::uint8_t>(frame, channels);
    case 16: return fileSamples<Target, std::uint16_t>(frame, channels);
    default: return fileSamples<Target, float>(frame, channels);
  }
}

}  // namespace

void ImageFileWriter::add(const Frame& frame) {
  State& s = *state_;
  if (s.frames > 0 && !s.manyFrames) throw std::logic_error("one frame per file of this kind");
  if (s.frames > 0 && (frame.size.width != s.size.width || frame.size.height != s.size.height))
    throw UsageError("cannot write " + s.path + ": its frames must all be " + std::to_string(s.size.width) + "x" +
                     std::to_string(s.size.height));
  const int channels = s.alpha == AlphaStorage::OverBlack ? 3 : 4;
  const TypeDesc asked = s.depth == SampleDepth::Byte    ? TypeDesc::UINT8
                         : s.depth == SampleDepth::Short ? TypeDesc::UINT16
                         : s.depth == SampleDepth::Half  ? TypeDesc::HALF
                                                         : TypeDesc::FLOAT;
  ImageSpec header(frame.size.width, frame.size.height, channels, asked);
  // No time of writing: the same frame gives the same bytes in any run.
  header.attribute("DateTime", "");
  if (channels == 4) {
    header.alpha_channel = 3;
    if (s.alpha == AlphaStorage::Straight) header.attribute("oiio:UnassociatedAlpha", 1);
  }
  if (s.manyFrames) {
    const int rate[2] = {int(s.framesPerSecond * 1000 + 0.5), 1000};
    header.attribute("FramesPerSecond", TypeDesc::TypeRational, rate);
    header.attribute("gif:LoopCount", 0);  // forever
  }
  auto fail = [&] { return UsageError("cannot write " + s.path + ": " + firstLine(s.out->geterror())); };
  const QuietStandardError quiet;
  if (s.frames == 0) s.out->set_ioproxy(s.memory.get());
  if (!s.out->open(s.path, header, s.frames == 0 ? ImageOutput::Create : ImageOutput::AppendSubimage)) throw fail();
  // What the kind took of the depth asked: 8 and 16 bits are scaled here,
  // anything else is handed over as float for the library to store.
  const TypeDesc stored = s.out->spec().format;
  bool written;
  if (stored == TypeDesc::UINT8)
    written = s.out->write_image(TypeDesc::UINT8, fileSamplesOf<std::uint8_t>(frame, channels).data());
  else if (stored == TypeDesc::UINT16)
    written = s.out->write_image(TypeDesc::UINT16, fileSamplesOf<std::uint16_t>(frame, channels).data());
  else
    written = s.out->write_image(TypeDesc::FLOAT, fileSamplesOf<float>(frame, channels).data());
  if (!written) throw fail();
  s.size = frame.size;
  ++s.frames;
}

void ImageFileWriter::finish() {
  State& s = *state_;
  const QuietStandardError quiet;
  if (!s.out->close()) throw UsageError("cannot write " + s.path + ": " + firstLine(s.out->geterror()));
  writeFileAtomically(s.path, [&](std::ostream& out) {
    out.write(reinterpret_cast<const char*>(s.encoded.data()), std::streamsize(s.encoded.size()));
  });
}

}  // namespace StrobeQuirk::Cli
