#include "cli/command.h"

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <new>

namespace StrobeQuirk::Cli {

Arguments::Arguments(const std::vector<std::string>& words, const std::vector<Option>& options) {
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.size() < 2 || word.compare(0, 2, "--") != 0) {
      positionals_.push_back(word);
      continue;
    }
    const Option* match = nullptr;
    for (const Option& option : options)
      if (option.name == word) match = &option;
    if (!match) throw UsageError("unknown option " + word);
    if (values_.count(word)) throw UsageError("option " + word + " given twice");
    if (match->takesValue) {
      if (i + 1 >= words.size()) throw UsageError("option " + word + " needs a value");
      values_[word] = words[++i];
    } else {
      values_[word] = "";
    }
  }
}

std::optional<std::string> Arguments::optional(const std::string& name) const {
  auto found = values_.find(name);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

std::string Arguments::required(const std::string& name) const {
  auto found = values_.find(name);
  if (found == values_.end()) throw UsageError("missing option " + name);
  return found->second;
}

double Arguments::number(const std::string& name, double fallback) const {
  auto text = optional(name);
  return text ? parseNumber(*text, name) : fallback;
}

float Arguments::floatNumber(const std::string& name, float fallback) const {
  auto text = optional(name);
  return text ? parseFloat(*text, name) : fallback;
}

long Arguments::integer(const std::string& name, long fallback) const {
  auto text = optional(name);
  return text ? parseInteger(*text, name) : fallback;
}

void Arguments::expectPositionals(std::size_t count, const char* what) const {
  if (positionals_.size() != count) throw UsageError(std::string("expected ") + what);
}

namespace {

// The grammar of parseNumber (fraction and exponent allowed) or of
// parseInteger (neither): checked here, since strtod and strtol also take
// blanks, '+', hex, "nan" and "inf".
bool isDecimal(const std::string& text, bool allowFraction) {
  std::size_t i = 0;
  auto digits = [&] {
    const std::size_t start = i;
    while (i < text.size() && text[i] >= '0' && text[i] <= '9') ++i;
    return i - start;
  };
  if (i < text.size() && text[i] == '-') ++i;
  std::size_t mantissaDigits = digits();
  if (allowFraction && i < text.size() && text[i] == '.') {
    ++i;
    mantissaDigits += digits();
  }
  if (mantissaDigits == 0) return false;
  if (allowFraction && i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
    if (digits() == 0) return false;
  }
  return i == text.size();
}

}  // namespace

double parseNumber(const std::string& text, const std::string& what) {
  if (!isDecimal(text, true)) throw UsageError("not a finite decimal number for " + what + ": " + text);
  // Too small for a double rounds toward 0 and is kept; too large is refused.
  const double value = std::strtod(text.c_str(), nullptr);
  if (!std::isfinite(value)) throw UsageError(what + " out of range: " + text);
  return value;
}

float parseFloat(const std::string& text, const std::string& what) {
  const double value = parseNumber(text, what);
  if (std::fabs(value) > double(std::numeric_limits<float>::max())) throw UsageError(what + " out of range: " + text);
  return float(value);
}

long parseInteger(const std::string& text, const std::string& what) {
  if (!isDecimal(text, false)) throw UsageError("not a decimal integer for " + what + ": " + text);
  errno = 0;
  const long value = std::strtol(text.c_str(), nullptr, 10);
  if (errno == ERANGE) throw UsageError(what + " out of range: " + text);
  return value;
}

int exitStatusOf(const std::function<int()>& run, std::ostream& err) {
  try {
    return run();
  } catch (const UsageError& error) {
    err << "strobe-quirk: " << error.what() << "\n";
    return 2;
  } catch (const std::bad_alloc&) {
    err << "strobe-quirk: out of memory\n";
    return 1;
  } catch (const std::exception& error) {
    err << "strobe-quirk: " << error.what() << "\n";
    return 1;
  }
}

std::int32_t parseFrameNumber(const std::string& text, const std::string& what) {
  const long value = parseInteger(text, what);
  if (value < -kMaxFrameNumber || value > kMaxFrameNumber)
    throw UsageError(what + " out of range: " + text + " (frames " + std::to_string(-kMaxFrameNumber) + " to " +
                     std::to_string(kMaxFrameNumber) + ")");
  return std::int32_t(value);
}

FrameRange parseFrameRange(const std::string& text, const std::string& what) {
  // The separator is the first '-' that is not a sign.
  const std::size_t dash = text.find('-', 1);
  if (dash == std::string::npos) {
    const std::int32_t frame = parseFrameNumber(text, what);
    return {frame, frame};
  }
  const FrameRange range{parseFrameNumber(text.substr(0, dash), what), parseFrameNumber(text.substr(dash + 1), what)};
  if (range.first > range.last) throw UsageError(what + " runs backwards: " + text);
  return range;
}

}  // namespace StrobeQuirk::Cli
