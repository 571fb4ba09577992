// The tool's raw image reader on any bytes: a first line as the options
// give it, "FORMAT WxH [TO]", then the file. Sizes and formats go through
// the command line's parsers and the frame limit; the file through the
// reader, from a file in memory; then the frame into a world of the
// stand-in host, back out, and converted to TO as the convert command does.
// Refusals (UsageError) are expected; anything else is a finding.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/raw_image.h"
#include "cli/session.h"

namespace {

using namespace StrobeQuirk::Cli;

[[noreturn]] void fail(const char* what) {
  std::fprintf(stderr, "raw_image: %s\n", what);
  std::abort();
}

// A file in memory, its path through /proc, rewritten for every input.
const std::string& memoryFile(const std::string& contents) {
  static const int descriptor = memfd_create("raw_image_fuzz", 0);
  static const std::string path = "/proc/self/fd/" + std::to_string(descriptor);
  if (descriptor < 0 || ftruncate(descriptor, 0) != 0 ||
      pwrite(descriptor, contents.data(), contents.size(), 0) != ssize_t(contents.size()))
    fail("cannot write the file in memory");
  return path;
}

std::vector<std::string> words(const std::string& line) {
  std::vector<std::string> result(1);
  for (char c : line) {
    if (c == ' ')
      result.emplace_back();
    else
      result.back() += c;
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input(reinterpret_cast<const char*>(data), size);
  const std::size_t newline = input.find('\n');
  if (newline == std::string::npos) return 0;
  const std::vector<std::string> options = words(input.substr(0, newline));
  if (options.size() < 2 || options.size() > 3) return 0;
  const std::string contents = input.substr(newline + 1);
  try {
    const RawFormat& format = rawFormat(options[0]);
    const Size frame = parseSize(options[1], format);
    const RawFormat& to = options.size() == 3 ? rawFormat(options[2]) : format;
    checkFrameBytes(to, frame);
    const std::vector<unsigned char> bytes = readRawImage(memoryFile(contents), format, frame);
    if (bytes.size() != contents.size() || !std::equal(bytes.begin(), bytes.end(), contents.begin(),
                                                       [](unsigned char a, char b) { return a == static_cast<unsigned char>(b); }))
      fail("the reader changed the bytes");

    Session session;
    PF_EffectWorld* input = session.layer(format, frame, bytes);
    if (copyOutOfWorld(*input, format) != bytes) fail("a world does not give back its bytes");
    PF_EffectWorld* output = session.layer(to, frame);
    {
      OZ::Host::AE::Host::Image source(&session.host, input), target(&session.host, output);
      target.copyFrom(source);
    }
    std::ostringstream out;
    writeRawImage(out, *output, to);
    if (out.str().size() != rawBytes(to, frame)) fail("the converted frame has the wrong length");
  } catch (const UsageError&) {
  }
  return 0;
}
