#pragma once
// The frame of the command-line tool: subcommands, their options, and the
// rule for bad input (exit status 2, one line on stderr, no output file).

#include <cstdint>
#include <functional>
#include <map>
#include <ostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/file_access.h"

namespace StrobeQuirk::Cli {

// Bad input from the user. main() prints "strobe-quirk: <what>" and exits 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Option {
  std::string name;  // with its dashes: "--format"
  bool takesValue;
};

// The words after a subcommand: options (each at most once) and positionals.
class Arguments {
 public:
  Arguments(const std::vector<std::string>& words, const std::vector<Option>& options);

  bool has(const std::string& name) const { return values_.count(name) != 0; }
  std::optional<std::string> optional(const std::string& name) const;
  std::string required(const std::string& name) const;
  // The option's value through parseNumber, parseFloat or parseInteger, or
  // the fallback when the option is absent.
  double number(const std::string& name, double fallback) const;
  float floatNumber(const std::string& name, float fallback) const;
  long integer(const std::string& name, long fallback) const;
  const std::vector<std::string>& positionals() const { return positionals_; }
  // Refuses any count of positionals other than this one.
  void expectPositionals(std::size_t count, const char* what) const;

 private:
  std::map<std::string, std::string> values_;
  std::vector<std::string> positionals_;
};

// Numbers are read whole and in decimal only: an optional '-', digits with
// an optional fraction, an optional exponent. No '+', blanks, hex, "nan" or
// "inf"; a value too large for its type is refused too, so every number that
// gets through is finite. `what` names the option in the message.
double parseNumber(const std::string& text, const std::string& what);
float parseFloat(const std::string& text, const std::string& what);  // also finite as a 32-bit float
long parseInteger(const std::string& text, const std::string& what);

// Frame numbers the tool takes: the effect counts frames in 32-bit floats,
// which hold every whole number only up to this size.
inline constexpr std::int32_t kMaxFrameNumber = 1 << 24;

// One frame number, -kMaxFrameNumber to kMaxFrameNumber.
std::int32_t parseFrameNumber(const std::string& text, const std::string& what);

struct FrameRange {
  std::int32_t first, last;  // first <= last
};

// "A-B" (each a frame number, so "-5--1" is five frames), or "A" alone.
FrameRange parseFrameRange(const std::string& text, const std::string& what);

// Runs a command and turns what it throws into the tool's exit status and
// one line on `err`: 2 for a UsageError, 1 for anything else.
int exitStatusOf(const std::function<int()>& run, std::ostream& err);

struct Command {
  const char* name;
  const char* summary;  // one line, for strobe-quirk --help
  const char* usage;    // the whole text of strobe-quirk NAME --help
  int (*run)(const std::vector<std::string>& words);  // the words after NAME; returns the exit status
  // For commands whose help depends on the words (filter NAME --help).
  std::string (*helpFor)(const std::vector<std::string>& words) = nullptr;
};

}  // namespace StrobeQuirk::Cli
