// The text form of a store: two header lines, then one "name: value" line
// per record. Writer and reader are not mirror images; see readValue.

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <locale>
#include <sstream>

#include "host/param/parameters.h"

namespace OZ::Host::Param {
namespace {

// Six significant digits, shortest of fixed and exponent notation.
std::string formatFloat(double value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << value;
  return text.str();
}

// A null text leaves the stream bad, so nothing after it reaches the file.
void putText(std::ostream& out, const char* text) {
  if (text)
    out << text;
  else
    out.setstate(std::ios::badbit);
}

// Quoted, with a backslash before each quote and backslash; a zero byte ends the text.
std::string quote(const std::string& text) {
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '\0') break;
    if (c == '"' || c == '\\') quoted += '\\';
    quoted += c;
  }
  quoted += '"';
  return quoted;
}

bool isWhiteSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

void stripTrailingWhiteSpace(char* text) {
  std::size_t length = std::strlen(text);
  while (length > 0 && isWhiteSpace(text[length - 1])) text[--length] = '\0';
}

// Leaves `cursor` at the closing quote (or the end), so a later record of the
// same name reads on from there. A backslash takes the next character as it
// stands; one at the very end ends the value.
void readQuoted(const char*& cursor, std::string& text) {
  text.clear();
  if (*cursor != '"') return;
  ++cursor;
  while (*cursor != '\0' && *cursor != '"') {
    if (*cursor == '\\') {
      ++cursor;
      if (*cursor == '\0') break;
    }
    text += *cursor++;
  }
}

// Pieces separated by single blanks, in component order, until either runs
// out; components with no piece keep their value. Two blanks in a row make
// an empty piece, which reads as 0.
void readComponents(const char* cursor, std::size_t count, ParamValue& value) {
  for (std::size_t component = 0; component < count && *cursor != '\0'; ++component) {
    const char* end = std::strchr(cursor, ' ');
    if (!end) end = cursor + std::strlen(cursor);
    value.setComponent(component, std::atof(std::string(cursor, end).c_str()));
    cursor = *end ? end + 1 : end;
  }
}

// Straight into `value`: no clamp, no setter.
void readValue(ParamRecord& record, const char*& cursor) {
  ParamValue& value = record.value;
  switch (record.kind) {
    case kInt:
    case kChoice:
    case kLayer:
      value.setInt(std::atoi(cursor));
      break;
    case kFloat:
      value.setFloat(std::atof(cursor));
      break;
    case kBool:
      value.setBool(std::strcmp(cursor, "true") == 0);
      break;
    case kString:
    case kStringChoice:
      readQuoted(cursor, value.text);
      break;
    case kColor:
      readComponents(cursor, 3, value);
      break;
    case kPoint:
      readComponents(cursor, 2, value);
      break;
    default:
      break;
  }
}

// The written form of a record's value, or false for kinds that are not written.
bool formatValue(const ParamRecord& record, std::string& text) {
  const ParamValue& value = record.value;
  switch (record.kind) {
    case kInt:
    case kChoice:
    case kLayer:
      text = std::to_string(value.asInt());
      return true;
    case kFloat:
      text = formatFloat(value.asFloat());
      return true;
    case kBool:
      text = value.asBool() ? "true" : "false";
      return true;
    case kString:
    case kStringChoice:
      text = quote(value.text);
      return true;
    case kColor: {
      const ParamColor color = value.asColor();
      text = formatFloat(color.red) + ' ' + formatFloat(color.green) + ' ' + formatFloat(color.blue) + ' ';
      return true;
    }
    case kPoint: {
      const ParamPoint point = value.asPoint();
      text = formatFloat(point.x) + ' ' + formatFloat(point.y) + ' ';
      return true;
    }
    default:
      return false;
  }
}

}  // namespace

void Parameters::writeTextTo(std::ostream& out, const char* pluginName, const char* versionText) const {
  out << "Plugin Name: ";
  putText(out, pluginName);
  out << std::endl;
  out << "Version Number: ";
  putText(out, versionText);
  out << std::endl;
  std::string text;
  for (const ParamRecord& record : records) {
    if (record.flags & kNoText) continue;
    if (!formatValue(record, text)) continue;
    out << record.name << ": " << text << std::endl;
  }
}

void Parameters::writeText(const char* path, const char* pluginName, const char* versionText) const {
  std::ofstream out(path, std::ios::out | std::ios::trunc);
  writeTextTo(out, pluginName, versionText);
  out.close();
}

// The loop ends only at the stream's end: a stream that fails otherwise
// (a failed open, a field past kTextFieldLength) keeps it spinning. Callers
// rule that out first with findStallingTextField.
void Parameters::readTextFrom(std::istream& in) {
  char key[kTextFieldLength + 1] = {};
  char line[kTextFieldLength + 1] = {};
  // The header pair is read and not looked at.
  in.getline(key, sizeof key, ':');
  in.getline(line, sizeof line);
  reset();
  if (in.eof()) return;
  while (!in.eof()) {
    in.getline(key, sizeof key, ':');
    in.getline(line, sizeof line);
    stripTrailingWhiteSpace(key);
    stripTrailingWhiteSpace(line);
    const char* cursor = line;
    while (isWhiteSpace(*cursor)) ++cursor;
    for (ParamRecord& record : records)
      if (record.name == key) readValue(record, cursor);
  }
}

void Parameters::readText(const char* path) {
  std::ifstream in(path);
  readTextFrom(in);
  in.close();
}

std::size_t findStallingTextField(std::string_view text) {
  enum class Outcome { kTaken, kEnd, kStall };
  std::size_t position = 0;
  std::size_t fieldStart = 0;
  // One getline: up to the delimiter, failing at more than kTextFieldLength characters.
  auto take = [&](char delimiter) {
    fieldStart = position;
    const std::size_t stop = text.find(delimiter, position);
    const std::size_t length = (stop == std::string_view::npos ? text.size() : stop) - position;
    if (length > kTextFieldLength) return Outcome::kStall;
    if (stop == std::string_view::npos) {
      position = text.size();
      return Outcome::kEnd;
    }
    position = stop + 1;
    return Outcome::kTaken;
  };
  for (;;) {
    Outcome outcome = take(':');
    if (outcome == Outcome::kTaken) outcome = take('\n');
    if (outcome == Outcome::kStall) return fieldStart;
    if (outcome == Outcome::kEnd) return std::string_view::npos;
  }
}

}  // namespace OZ::Host::Param
