// strobe-quirk schedule: the pulse pattern of a setting, frame by frame.

#include <cstdio>
#include <limits>
#include <memory>

#include "cli/commands.h"
#include "cli/session.h"

namespace StrobeQuirk::Cli {
namespace {

std::int32_t frameOption(const Arguments& arguments, const char* name) {
  const long value = parseInteger(arguments.required(name), name);
  if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max())
    throw UsageError(std::string(name) + " out of range");
  return std::int32_t(value);
}

int runSchedule(const std::vector<std::string>& words) {
  const Arguments arguments(
      words, {{"--quirk-time", true}, {"--random-quirk", true}, {"--first", true}, {"--last", true}});
  arguments.expectPositionals(0, "no file arguments");
  const std::int32_t first = frameOption(arguments, "--first"), last = frameOption(arguments, "--last");
  if (first > last) throw UsageError("--first is after --last");

  Session session;
  // A store of its own: the values stay in its records, with no effect
  // instance in a host behind them.
  auto store = std::make_unique<OZ::Host::Param::Parameters>();
  session.host.defineParameters(*store);
  // Through the store, so the values are clamped as the host's controls are;
  // the parser lets only finite numbers through, as the clamp needs.
  if (arguments.has("--quirk-time")) store->setFloat(kQuirkTimeIndex, arguments.number("--quirk-time", 0));
  if (arguments.has("--random-quirk")) store->setFloat(kRandomQuirkIndex, arguments.number("--random-quirk", 0));
  const PulseSettings settings = pulseSettings(store->getFloat(kQuirkTimeIndex), store->getFloat(kRandomQuirkIndex));

  // Frames only increase, so one walk goes on where the last frame left it:
  // the same answers as a replay from frame 0 for each, without its cost.
  PulseWalk walk;
  seedRandom(walk.random);
  for (std::int64_t time = first; time <= last; ++time) {
    session.standIn.setTime(A_long(time), 1);
    const std::int32_t frame = session.host.currentFrame();
    const float opacity = pulseOpacity(float(frame), settings, walk);
    std::printf("%d %d\n", int(frame), opacity >= 1.0f ? 1 : 0);
  }
  return 0;
}

}  // namespace

const Command kScheduleCommand{
    "schedule", "print the pulse pattern of a setting, frame by frame",
    "usage: strobe-quirk schedule [--quirk-time T] [--random-quirk R] --first A --last B\n"
    "\n"
    "Prints one line per frame from A to B inclusive: the frame number and 1 on a\n"
    "pulse, 0 in a gap. T is the mean gap between pulses in frames (1 to 100,\n"
    "default 3); R how far a gap may vary, in percent (0 to 100, default 0).\n"
    "Values outside their range are clamped, as the effect's controls are;\n"
    "numbers are decimal and finite.\n",
    runSchedule};

}  // namespace StrobeQuirk::Cli
