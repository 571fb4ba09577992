#pragma once
// The frame of the command-line tool: subcommands, their options, and the
// rule for bad input (exit status 2, one line on stderr, no output file).

#include <functional>
#include <map>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

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
  double number(const std::string& name, double fallback) const;
  long integer(const std::string& name, long fallback) const;
  const std::vector<std::string>& positionals() const { return positionals_; }
  // Refuses any count of positionals other than this one.
  void expectPositionals(std::size_t count, const char* what) const;

 private:
  std::map<std::string, std::string> values_;
  std::vector<std::string> positionals_;
};

double parseNumber(const std::string& text, const std::string& what);
long parseInteger(const std::string& text, const std::string& what);

struct Command {
  const char* name;
  const char* summary;  // one line, for strobe-quirk --help
  const char* usage;    // the whole text of strobe-quirk NAME --help
  int (*run)(const std::vector<std::string>& words);  // the words after NAME; returns the exit status
  // For commands whose help depends on the words (filter NAME --help).
  std::string (*helpFor)(const std::vector<std::string>& words) = nullptr;
};

// Writes a file through a temporary beside it, renamed into place only when
// everything was written: a failure leaves no partial output behind.
void writeFileAtomically(const std::string& path, const std::function<void(std::ostream&)>& write);

std::string readWholeFile(const std::string& path);

}  // namespace StrobeQuirk::Cli
