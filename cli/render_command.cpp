// strobe-quirk render: frames of the effect through the plug-in, loaded and
// driven the way the application drives it.

#include "cli/render_command.h"

#include <sys/stat.h>

#include <limits>
#include <optional>
#include <set>
#include <utility>

#include "cli/commands.h"
#include "cli/frame_files.h"
#include "cli/frame_pattern.h"
#include "cli/interruption.h"
#include "cli/plugin_location.h"
#include "cli/plugin_render.h"
#include "cli/processor_level.h"
#include "cli/progress_bar.h"
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
// frame through a pattern; one output per frame, or one animation of all.
struct FramePlan {
  FrameRange frames;
  std::string input;
  std::optional<FramePattern> inputPattern, outputPattern;
  std::string output;
  bool animation = false;

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
  plan.animation = namesAnimation(plan.output) && !FramePattern::looksLikePattern(plan.output);
  if (!plan.animation) plan.outputPattern.emplace(plan.output, "OUT_PATTERN");
  if (FramePattern::looksLikePattern(plan.input)) plan.inputPattern.emplace(plan.input, "IN_PATTERN");
  return plan;
}

// Every input and output of the run, before anything is rendered: a
// missing, short or unreadable input frame, or an output that is any input
// or that no writer takes, is refused with nothing written. One input for
// every frame is read later, once: it may be a pipe.
void checkFiles(const FramePlan& plan, const std::optional<RawLayout>& raw) {
  std::set<FileId> inputs;
  for (std::int64_t frame = plan.frames.first; frame <= plan.frames.last; ++frame) {
    const std::string input = plan.inputOf(std::int32_t(frame));
    if (plan.inputPattern) checkFrame(input, raw);
    if (const auto id = fileId(input)) inputs.insert(*id);
    if (!plan.inputPattern) break;
  }
  for (std::int64_t frame = plan.frames.first; frame <= plan.frames.last; ++frame) {
    const std::string output = plan.outputOf(std::int32_t(frame));
    const auto id = fileId(checkOutputPath(output, {plan.inputOf(std::int32_t(frame))}));
    if (id && inputs.count(*id)) throw UsageError("cannot write " + output + ": it is one of the input frames");
    if (plan.animation) break;
  }
  // A kind that no writer takes is refused here.
  const FrameWriter probe(plan.outputOf(plan.frames.first), SampleDepth::Byte);
}

// --format and --size describe raw input frames; image files bring their own.
std::optional<RawLayout> rawLayout(const Arguments& arguments, const FramePlan& plan) {
  const bool imageInput = namesImageFile(plan.input);
  if (imageInput && (arguments.has("--format") || arguments.has("--size")))
    throw UsageError(plan.input + " is an image file, which gives its own format and size: --format and --size "
                     "are for raw frames");
  if (imageInput) return std::nullopt;
  if (!arguments.has("--format") && !arguments.has("--size"))
    throw UsageError(plan.input + " is a raw frame (not an image file by its name): give --format and --size");
  const RawFormat& format = rawFormat(arguments.required("--format"));
  return RawLayout{&format, parseSize(arguments.required("--size"), format)};
}

// What image files get: --depth, or what the input file stores, or the
// depth the effect ran at.
std::optional<SampleDepth> parseDepth(const Arguments& arguments, const FramePlan& plan) {
  const auto text = arguments.optional("--depth");
  if (!text) return std::nullopt;
  if (!namesImageFile(plan.output))
    throw UsageError("--depth is for image files; raw frames come out in the format they went in");
  if (*text == "8") return SampleDepth::Byte;
  if (*text == "16") return SampleDepth::Short;
  if (*text == "float") return SampleDepth::Float;
  throw UsageError("--depth must be 8, 16 or float: " + *text);
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

int runRenderCommand(const std::vector<std::string>& words) {
  const InterruptCatcher catcher;
  return runRender(words, StandIn::Faults{}, interruptRequested);
}

}  // namespace

int runRender(const std::vector<std::string>& words, const StandIn::Faults& faults,
              const std::function<bool()>& stopRequested) {
  const Arguments arguments(
      words, {{"--frame", true}, {"--frames", true}, {"--quirk-time", true}, {"--random-quirk", true},
              {"--increase-quirky", false}, {"--unmasked", false}, {"--downsample-x", true}, {"--downsample-y", true},
              {"--cpu", true}, {"--threads", true}, {"--format", true}, {"--size", true}, {"--plugin", true},
              {"--depth", true}, {"--fps", true}});
  const FramePlan plan = planFrames(arguments);
  const std::optional<RawLayout> raw = rawLayout(arguments, plan);
  const std::optional<SampleDepth> depth = parseDepth(arguments, plan);
  const double framesPerSecond = arguments.number("--fps", 24);
  if (arguments.has("--fps") && !plan.animation) throw UsageError("--fps is for animations (OUT.gif with --frames)");
  if (!(framesPerSecond >= 1 && framesPerSecond <= 100)) throw UsageError("--fps must be 1 to 100");
  const RenderControls controls = readControls(arguments);
  const long threads = arguments.integer("--threads", 0);
  if (arguments.has("--threads") && (threads < 1 || threads > 256)) throw UsageError("--threads must be 1 to 256");
  const OZ::Image::ProcessorFlags mask = processorMask(arguments.optional("--cpu").value_or("auto"));
  checkFiles(plan, raw);
  auto stopIfAsked = [&] {
    if (stopRequested()) throw Interrupted("interrupted");
  };
  std::optional<InputFrame> layer;
  if (!plan.inputPattern) layer = readFrame(plan.input, raw);

  const auto plugin = loadPlugin(arguments.optional("--plugin"));
  const ReportedProcessor level(mask);
  StandIn::Settings settings;
  settings.iterations = int(threads);
  PluginRenderer renderer(plugin->entry(), settings, faults);
  renderer.stopWhen(stopRequested);
  std::optional<FrameWriter> animation;
  ProgressBar progress = ProgressBar::forStandardError(std::int64_t(plan.frames.last) - plan.frames.first + 1);
  for (std::int64_t frame = plan.frames.first; frame <= plan.frames.last; ++frame) {
    stopIfAsked();
    const std::int32_t number = std::int32_t(frame);
    if (plan.inputPattern) layer = readFrame(plan.inputOf(number), raw);
    const Frame& in = layer->frame;
    Frame out{in.format, in.size, {}};
    try {
      out.bytes = renderer.render(in.bytes, *in.format, in.size, number, controls);
    } catch (const HostFailure&) {
      stopIfAsked();  // the host's abort was the user's Ctrl-C
      throw;
    }
    stopIfAsked();
    const SampleDepth written = depth ? *depth : layer->stored ? *layer->stored : sampleDepthOf(*in.format);
    if (plan.animation) {
      if (!animation) animation.emplace(plan.output, written, framesPerSecond);
      animation->add(out);
    } else {
      FrameWriter writer(plan.outputOf(number), written);
      writer.add(out);
      writer.finish();
    }
    progress.frameDone();
  }
  if (animation) animation->finish();
  return 0;
}

const Command kRenderCommand{
    "render", "render frames of the effect through the plug-in",
    "usage: strobe-quirk render --frame N [CONTROLS] [OPTIONS]\n"
    "                           [--format F --size WxH] IN OUT\n"
    "       strobe-quirk render --frames A-B [CONTROLS] [OPTIONS]\n"
    "                           [--format F --size WxH] IN|IN_PATTERN OUT_PATTERN\n"
    "       strobe-quirk render --frames A-B [CONTROLS] [OPTIONS]\n"
    "                           [--format F --size WxH] IN|IN_PATTERN OUT.gif\n"
    "\n"
    "Renders frames of the effect over a layer, through the plug-in loaded as the\n"
    "application loads it, with the stand-in host in the application's place:\n"
    "global and parameter setup, then for each frame the smart pre-render and the\n"
    "smart render of the whole frame. What the effect leaves uncovered is\n"
    "transparent black.\n"
    "\n"
    "files:\n"
    "  IN and OUT are image files when their names end in the extension of one\n"
    "  (.png, .tif, .exr, .jpg, ...; strobe-quirk --version lists this build's\n"
    "  kinds), and raw frames otherwise (.raw or any other name). A raw IN needs\n"
    "  --format F and --size WxH; an image file brings its own. The effect runs at\n"
    "  the file's depth: 8-bit files in the 8-bit formats, 16-bit files in the\n"
    "  16-bit ones (0..65535 scaled to 0..32768 and back, rounded), half and float\n"
    "  files in float. A file without alpha is opaque. OpenEXR's premultiplied\n"
    "  colour is made straight before the effect and premultiplied again after;\n"
    "  kinds without alpha (JPEG, GIF) get the result laid over black. A raw OUT\n"
    "  has the layer's format and size.\n"
    "\n"
    "frames (-16777216 to 16777216):\n"
    "  --frame N           frame N of IN into OUT\n"
    "  --frames A-B        frames A to B (\"A\" alone: one frame), each into its own\n"
    "                      file named by OUT_PATTERN, or all into one animated\n"
    "                      OUT.gif; IN is the layer of every frame, or, when it\n"
    "                      holds a % or a #, the pattern of a sequence\n"
    "Patterns hold one %d or %0Nd (N 1 to 9: zero-padded to N digits) for the frame\n"
    "number and %% for a percent sign (frames/%04d.png), or one run of # with a digit\n"
    "for each (frames/####.png). Each frame stands alone: a range split into parts,\n"
    "run in any processes or on any machines, gives the same files as one run. Every\n"
    "input is read and checked before anything is written.\n"
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
    "  --depth 8|16|float  what image file outputs store (default: what the input\n"
    "                      file stores, or the raw format's depth); a kind that\n"
    "                      cannot store it stores the nearest it can\n"
    "  --fps R             frames per second of an animated OUT.gif (1 to 100,\n"
    "                      default 24)\n"
    "\n"
    "raw formats: argb8, bgra8, argb16, bgra16, argb32, bgra32; each side 1 to 32768.\n"
    "A progress bar shows on standard error while it is a terminal.\n"
    "Exit status: 0 when every frame is written; 2 for bad input, with nothing\n"
    "written; 1 when the plug-in or the host fails, with the host's message: the\n"
    "frame that failed is not written, those before it stay; 130 when stopped with\n"
    "Ctrl-C, which ends the frame being rendered unwritten (an animation is not\n"
    "written at all).\n",
    runRenderCommand};

}  // namespace StrobeQuirk::Cli
