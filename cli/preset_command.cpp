// strobe-quirk preset: the effect's controls as a preset text file.

#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/commands.h"
#include "effect/quirk_controls.h"

namespace StrobeQuirk::Cli {
namespace {

using OZ::Host::Param::Parameters;

constexpr const char* kPluginName = "Strobe Quirk";
constexpr const char* kVersion = "1.0";

int writePreset(const std::vector<std::string>& words) {
  const Arguments arguments(words, {{"--quirk-time", true},
                                    {"--random-quirk", true},
                                    {"--increase-quirky", false},
                                    {"--unmasked", false}});
  arguments.expectPositionals(1, "one FILE after preset write");
  const std::string path = arguments.positionals()[0];
  checkOutputPath(path);

  Parameters store;
  defineQuirkControls(store);
  // Through the plain setters, so the values are clamped to the controls' ranges.
  // The parser lets only finite numbers through: NaN would pass the clamp untouched.
  if (arguments.has("--quirk-time")) store.setFloat(kQuirkTimeIndex, arguments.number("--quirk-time", 0));
  if (arguments.has("--random-quirk")) store.setFloat(kRandomQuirkIndex, arguments.number("--random-quirk", 0));
  if (arguments.has("--increase-quirky")) store.setBool(true, kIncreaseQuirkyIndex);
  if (arguments.has("--unmasked")) store.setBool(true, kUnmaskedIndex);

  writeFileAtomically(path, [&](std::ostream& out) { store.writeTextTo(out, kPluginName, kVersion); });
  return 0;
}

// The reader never returns once its stream fails short of the end, so the
// file is read and checked here, and only checked bytes reach it.
std::string readCheckedPreset(const std::string& path) {
  const std::string text = readWholeFile(path);

  std::size_t lineStart = 0;
  for (std::size_t number = 1; lineStart < text.size(); ++number) {
    std::size_t lineEnd = text.find('\n', lineStart);
    if (lineEnd == std::string::npos) lineEnd = text.size();
    if (lineEnd - lineStart > OZ::Host::Param::kTextFieldLength)
      throw UsageError(path + ": line " + std::to_string(number) + " has 256 characters or more");
    lineStart = lineEnd + 1;
  }
  // Short lines can still make a long key: one without ':' runs on into the next lines.
  const std::size_t stall = OZ::Host::Param::findStallingTextField(text);
  if (stall != std::string_view::npos)
    throw UsageError(path + ": a key starting at byte " + std::to_string(stall) + " runs for 256 characters or more without ':'");
  return text;
}

int readPreset(const std::vector<std::string>& words) {
  const Arguments arguments(words, {});
  arguments.expectPositionals(1, "one FILE after preset read");
  const std::string text = readCheckedPreset(arguments.positionals()[0]);

  Parameters store;
  defineQuirkControls(store);
  std::istringstream in(text);
  store.readTextFrom(in);
  store.writeTextTo(std::cout, kPluginName, kVersion);
  return std::cout ? 0 : 1;
}

int runPreset(const std::vector<std::string>& words) {
  if (words.empty()) throw UsageError("preset needs write or read (see strobe-quirk preset --help)");
  const std::vector<std::string> rest(words.begin() + 1, words.end());
  if (words[0] == "write") return writePreset(rest);
  if (words[0] == "read") return readPreset(rest);
  throw UsageError("unknown preset action " + words[0] + " (expected write or read)");
}

}  // namespace

const Command kPresetCommand = {
    "preset",
    "write or read a preset text file of the effect's controls",
    "usage: strobe-quirk preset write FILE [--quirk-time T] [--random-quirk R]\n"
    "                                      [--increase-quirky] [--unmasked]\n"
    "       strobe-quirk preset read FILE\n"
    "\n"
    "write  starts from the controls' defaults, sets the values given and writes\n"
    "       FILE as text, one \"name: value\" line per control. Values are kept\n"
    "       within the controls' ranges: Quirk Time 1 to 100, Random Quirk 0 to 100;\n"
    "       T and R are decimal and finite.\n"
    "         --quirk-time T       mean frames between pulses (default 3)\n"
    "         --random-quirk R     percent by which the gap varies (default 0)\n"
    "         --increase-quirky    turn on the stronger, tighter look\n"
    "         --unmasked           strobe the frame itself rather than its glow\n"
    "read   reads FILE into the controls, starting from their defaults, and\n"
    "       prints the result in the same text form. FILE must be a readable\n"
    "       file whose lines are all shorter than 256 characters.\n",
    runPreset,
};

}  // namespace StrobeQuirk::Cli
