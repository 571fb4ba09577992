#include "cli/command.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

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

long Arguments::integer(const std::string& name, long fallback) const {
  auto text = optional(name);
  return text ? parseInteger(*text, name) : fallback;
}

void Arguments::expectPositionals(std::size_t count, const char* what) const {
  if (positionals_.size() != count) throw UsageError(std::string("expected ") + what);
}

double parseNumber(const std::string& text, const std::string& what) {
  char* end = nullptr;
  errno = 0;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || errno == ERANGE) throw UsageError("not a number for " + what + ": " + text);
  return value;
}

long parseInteger(const std::string& text, const std::string& what) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || errno == ERANGE) throw UsageError("not an integer for " + what + ": " + text);
  return value;
}

void writeFileAtomically(const std::string& path, const std::function<void(std::ostream&)>& write) {
  const std::string temporary = path + ".partial";
  try {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (!out) throw UsageError("cannot write " + path);
    write(out);
    out.close();
    if (!out) throw UsageError("cannot write " + path);
    if (std::rename(temporary.c_str(), path.c_str()) != 0) throw UsageError("cannot write " + path);
  } catch (...) {
    std::remove(temporary.c_str());
    throw;
  }
}

std::string readWholeFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw UsageError("cannot read " + path);
  std::ostringstream contents;
  contents << in.rdbuf();
  if (in.bad()) throw UsageError("cannot read " + path);
  return contents.str();
}

}  // namespace StrobeQuirk::Cli
