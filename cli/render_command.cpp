// strobe-quirk render: frames of the effect through the plug-in, loaded and
// driven the way the application drives it.

#include "cli/render_command.h"

#include <sys/stat.h>

#include <limits>
#include <optional>
#include <set>
#include <utility>

#include "cli/commands.h"
#include "cli/frame_pattern.h"
#include "cli/plugin_location.h"
#include "cli/plugin_render.h"
#include "cli/processor_level.h"
#include "standin/processor_capabilities.h"

namespace StrobeQuirk::Cli {
namespace {

// "NUM/DEN" as the host's rational: NUM signed, DEN unsigned, both 32-bit,
// taken as they stand (the plug-in decides what a factor of 0/0 means).
PF_RationalScale parseRational(const std::string& text, const std::string& what) {
  // Decimal digits, at most `longest` of them, after an optional '-'.
  auto whole = [](const std::string& digits, bool sign, long long& value) {
    const std::size_t start = sign && !digits.empty() && digits[0] == '-' ? 1 : 0;
    if (digits.size() == start || digits.size() - start > 10 ||
        digits.find_first_not_of("0123456789", start) != std::string::npos)
      return false;
    value = std::stoll(digits);
    return true;
  };
  const std::size_t slash = text.find('/');
  long long num = 0, den = 0;
  if (slash == std::string::npos || !whole(text.substr(0, slash), true, num) ||
      !whole(text.substr(slash + 1), false, den) || num < std::numeric_limits<std::int32_t>::min() ||
      num > std::numeric_limits<std::int32_t>::max() || den > std::numeric_limits<std::uint32_t>::max())
    throw UsageError(what + " must be NUM/DEN, NUM from -2147483648 to 2147483647 and DEN from 0 to 4294967295: " +
                     text);
  return PF_RationalScale{A_long(num), A_u_long(den)};
}

// The level the plug-in's kernels may use, for the length of one command.
class ReportedProcessor {
 public:
  explicit ReportedProcessor(OZ::Image::ProcessorFlags mask) {
    if (!StandIn::restrictReportedProcessor(mask)) throw UsageError("--cpu cannot hold a loaded plug-in here");
  }
  ~ReportedProcessor() { StandIn::restrictReportedProcessor(~OZ::Image::ProcessorFlags(0)); }
  ReportedProcessor(const ReportedProcessor&) = delete;
  ReportedProcessor& operator=(const ReportedProcessor&) = delete;
};

using FileId = std::pair<dev_t, ino_t>;

std::optional<FileId> fileId(const std::string& path) {
  struct stat status;
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return FileId{status.st_dev, status.st_ino};
}

// Which files a run reads and writes: one input for every frame, or one per
// frame through a pattern; one output per frame.
struct FramePlan {
  FrameRange frames;
  std::string input;
  std::optional<FramePattern> inputPattern, outputPattern;
  std::string output;

  std::string inputOf(std::int32_t frame) const { return inputPattern ? inputPattern->path(frame) : input; }
  std::string outputOf(std::int32_t frame) const { return outputPattern ? outputPattern->path(frame) : output; }
};

FramePlan planFrames(const Arguments& arguments) {
  const bool one = arguments.has("--frame"), range = arguments.has("--frames");
  if (one == range) throw UsageError("give either --frame N or --frames A-B");
  arguments.expectPositionals(2, range ? "IN (or IN_PATTERN) and OUT_PATTERN" : "IN and OUT");
  FramePlan plan;
  plan.input = arguments.positionals()[0];
  plan.output = arguments.positionals()[1];
  if (one) {
    const std::int32_t frame = parseFrameNumber(arguments.required("--frame"), "--frame");
    plan.frames = {frame, frame};
    return plan;
  }
  plan.frames = parseFrameRange(arguments.required("--frames"), "--frames");
  plan.outputPattern.emplace(plan.output, "OUT_PATTERN");
  if (FramePattern::looksLikePattern(plan.input)) plan.inputPattern.emplace(plan.input, "IN_PATTERN");
  return plan;
}

// Every input and output of the run, before anything is rendered: a missing
// or short input frame, or an output that is any input, is refused with
// nothing written.
void checkFiles(const FramePlan& plan, const RawFormat& format, const Size& size) {
  std::set<FileId> inputs;
  for (std::int64_t frame = plan.frames.first; frame <= plan.frames.last; ++frame) {
    const std::string input = plan.inputOf(std::int32_t(frame));
    if (plan.inputPattern) checkRawImage(input, format, size);
    if (const auto id = fileId(input)) inputs.insert(*id);
    if (!plan.inputPattern) break;
  }
  for (std::int64_t frame = plan.frames.first; frame <= plan.frames.last; ++frame) {
    const std::string output = plan.outputOf(std::int32_t(frame));
    const auto id = fileId(checkOutputPath(output, {plan.inputOf(std::int32_t(frame))}));
    if (id && inputs.count(*id)) throw UsageError("cannot write " + output + ": it is one of the input frames");
  }
}

RenderControls readControls(const Arguments& arguments) {
  RenderControls controls;
  controls.quirkTime = arguments.number("--quirk-time", controls.quirkTime);
  controls.randomQuirk = arguments.number("--random-quirk", controls.randomQuirk);
  controls.increaseQuirky = arguments.has("--increase-quirky");
  controls.unmasked = arguments.has("--unmasked");
  if (const auto x = arguments.optional("--downsample-x")) controls.downsampleX = parseRational(*x, "--downsample-x");
  if (const auto y = arguments.optional("--downsample-y")) controls.downsampleY = parseRational(*y, "--downsample-y");
  return controls;
}

int runRenderCommand(const std::vector<std::string>& words) { return runRender(words, StandIn::Faults{}); }

}  // namespace

int runRender(const std::vector<std::string>& words, const StandIn::Faults& faults) {
  const Arguments arguments(
      words, {{"--frame", true}, {"--frames", true}, {"--quirk-time", true}, {"--random-quirk", true},
              {"--increase-quirky", false}, {"--unmasked", false}, {"--downsample-x", true}, {"--downsample-y", true},
              {"--cpu", true}, {"--threads", true}, {"--format", true}, {"--size", true}, {"--plugin", true}});
  const FramePlan plan = planFrames(arguments);
  const RawFormat& format = rawFormat(arguments.required("--format"));
  const Size size = parseSize(arguments.required("--size"), format);
  const RenderControls controls = readControls(arguments);
  const long threads = arguments.integer("--threads", 0);
  if (arguments.has("--threads") && (threads < 1 || threads > 256)) throw UsageError("--threads must be 1 to 256");
  const OZ::Image::ProcessorFlags mask = processorMask(arguments.optional("--cpu").value_or("auto"));
  checkFiles(plan, format, size);
  // One input for every frame is read once: it may be a pipe.
  std::vector<unsigned char> layer;
  if (!plan.inputPattern) layer = readRawImage(plan.input, format, size);

  const auto plugin = loadPlugin(arguments.optional("--plugin"));
  const ReportedProcessor level(mask);
  StandIn::Settings settings;
  settings.iterations = int(threads);
  PluginRenderer renderer(plugin->entry(), settings, faults);
  for (std::int64_t frame = plan.frames.first; frame <= plan.frames.last; ++frame) {
    const std::int32_t number = std::int32_t(frame);
    if (plan.inputPattern) layer = readRawImage(plan.inputOf(number), format, size);
    const std::vector<unsigned char> output = renderer.render(layer, format, size, number, controls);
    writeFileAtomically(plan.outputOf(number), [&](std::ostream& out) {
      out.write(reinterpret_cast<const char*>(output.data()), std::streamsize(output.size()));
    });
  }
  return 0;
}

const Command kRenderCommand{
    "render", "render frames of the effect through the plug-in",
    "usage: strobe-quirk render --frame N [CONTROLS] [OPTIONS] --format F --size WxH\n"
    "                           IN OUT\n"
    "       strobe-quirk render --frames A-B [CONTROLS] [OPTIONS] --format F --size WxH\n"
    "                           IN OUT_PATTERN\n"
    "       strobe-quirk render --frames A-B [CONTROLS] [OPTIONS] --format F --size WxH\n"
    "                           IN_PATTERN OUT_PATTERN\n"
    "\n"
    "Renders frames of the effect over a raw layer of format F and size WxH, through\n"
    "the plug-in loaded as the application loads it, with the stand-in host in the\n"
    "application's place: global and parameter setup, then for each frame the smart\n"
    "pre-render and the smart render of the whole frame. What the effect leaves\n"
    "uncovered is transparent black. The output has the layer's format and size.\n"
    "\n"
    "frames (-16777216 to 16777216):\n"
    "  --frame N           frame N of IN into OUT\n"
    "  --frames A-B        frames A to B (\"A\" alone: one frame), each into its own\n"
    "                      file named by OUT_PATTERN; IN is the layer of every frame,\n"
    "                      or, when it holds a %, the pattern of a raw sequence\n"
    "Patterns hold one %d or %0Nd (N 1 to 9: zero-padded to N digits) for the frame\n"
    "number, and %% for a percent sign: frames/%04d.raw. Each frame stands alone: a\n"
    "range split into parts, run in any processes or on any machines, gives the same\n"
    "files as one run. Every input is checked before anything is written.\n"
    "\n"
    "controls, as the application hands them to the plug-in at the frame's time:\n"
    "  --quirk-time T      mean gap between pulses in frames (1 to 100, default 3)\n"
    "  --random-quirk R    how far a gap may vary, in percent (0 to 100, default 0)\n"
    "  --increase-quirky   the weaker, tighter mask\n"
    "  --unmasked          the frame itself pulses: the layer on a pulse, nothing in\n"
    "                      a gap\n"
    "Numbers are decimal and finite; outside its range a value is held to the range,\n"
    "as the application holds a typed value.\n"
    "\n"
    "options:\n"
    "  --downsample-x NUM/DEN, --downsample-y NUM/DEN\n"
    "                      the render's downsample factors (NUM -2147483648 to\n"
    "                      2147483647, DEN 0 to 4294967295; default 1/1), handed to\n"
    "                      the plug-in as they stand; the frame keeps its size\n"
    "  --threads N         iterations the host grants (1 to 256; default: one per\n"
    "                      processor)\n"
    "  --cpu LEVEL         the highest processor level the plug-in's kernels may use:\n"
    "                      auto (default), scalar, sse2, ssse3, sse41; a level this\n"
    "                      processor lacks is refused\n"
    "  --plugin PATH       the plug-in to load (default: the one beside the tool, or\n"
    "                      the one installed with it in ../lib/strobe-quirk/)\n"
    "\n"
    "formats: argb8, bgra8, argb16, bgra16, argb32, bgra32; each side 1 to 32768.\n"
    "Exit status: 0 when every frame is written; 2 for bad input, with nothing\n"
    "written; 1 when the plug-in or the host fails, with the host's message: the\n"
    "frame that failed is not written, those before it stay.\n",
    runRenderCommand};

}  // namespace StrobeQuirk::Cli
