// strobe-quirk params: the effect's controls as the store defines them.

#include <cstdio>
#include <iostream>
#include <locale>
#include <sstream>
#include <string>
#include <vector>

#include "cli/commands.h"
#include "effect/quirk_controls.h"

namespace StrobeQuirk::Cli {
namespace {

using OZ::Host::Param::ParamRecord;
using OZ::Host::Param::ParamValue;

const char* const kKindNames[] = {"none",  "int",   "float",       "bool",      "string", "choice",   "string choice",
                                  "color", "point", "group start", "group end", "layer",  "path",     "reserved"};

std::string kindName(std::uint32_t kind) {
  if (kind < std::size(kKindNames)) return kKindNames[kind];
  return "kind " + std::to_string(kind);
}

std::string formatFloat(double value) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << value;
  return text.str();
}

std::string describeValue(const ParamRecord& record, const ParamValue& value) {
  using namespace OZ::Host::Param;
  switch (record.kind) {
    case kInt:
    case kChoice:
    case kLayer:
      return std::to_string(value.asInt());
    case kFloat:
      return formatFloat(value.asFloat());
    case kBool:
      return value.asBool() ? "true" : "false";
    case kString:
    case kStringChoice:
      return "\"" + value.text + "\"";
    case kColor: {
      const ParamColor color = value.asColor();
      return formatFloat(color.red) + " " + formatFloat(color.green) + " " + formatFloat(color.blue);
    }
    case kPoint: {
      const ParamPoint point = value.asPoint();
      return formatFloat(point.x) + " " + formatFloat(point.y);
    }
    default:
      return "-";
  }
}

std::string describeFlags(std::uint32_t flags) {
  using namespace OZ::Host::Param;
  struct Named {
    std::uint32_t bit;
    const char* name;
  };
  static const Named kFlagNames[] = {
      {kPercent, "percent"},     {kAngle, "angle"},         {kNoText, "no-text"},
      {kHidden, "hidden"},       {kNoTimeVary, "no-time-vary"}, {kNoInterp, "no-interp"},
      {kCollapsed, "collapsed"}, {kLayerDefaultSelf, "layer-default-self"}, {kSupervise, "supervise"},
      {kOldProjectValue, "old-project-value"},
  };
  std::string text;
  std::uint32_t unnamed = flags;
  for (const Named& flag : kFlagNames) {
    if (!(flags & flag.bit)) continue;
    if (!text.empty()) text += ",";
    text += flag.name;
    unnamed &= ~flag.bit;
  }
  if (unnamed) {
    char hex[16];
    std::snprintf(hex, sizeof hex, "0x%x", unnamed);
    if (!text.empty()) text += ",";
    text += hex;
  }
  return text.empty() ? "none" : text;
}

int runParams(const std::vector<std::string>& words) {
  Arguments arguments(words, {});
  arguments.expectPositionals(0, "no arguments");
  OZ::Host::Param::Parameters store;
  defineQuirkControls(store);

  std::vector<std::vector<std::string>> rows = {{"index", "name", "kind", "default", "valid range", "flags"}};
  for (std::size_t i = 0; i < store.records.size(); ++i) {
    const ParamRecord& record = store.records[i];
    rows.push_back({std::to_string(i), record.name, kindName(record.kind), describeValue(record, record.defaultValue),
                    describeValue(record, record.validMin) + " to " + describeValue(record, record.validMax),
                    describeFlags(record.flags)});
  }
  std::vector<std::size_t> widths(rows[0].size(), 0);
  for (const auto& row : rows)
    for (std::size_t column = 0; column < row.size(); ++column) widths[column] = std::max(widths[column], row[column].size());
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      if (column + 1 < row.size()) line += std::string(widths[column] - row[column].size() + 2, ' ');
    }
    std::cout << line << "\n";
  }
  return 0;
}

}  // namespace

const Command kParamsCommand = {
    "params",
    "list the effect's four controls",
    "usage: strobe-quirk params\n"
    "\n"
    "Lists the effect's controls, one per line, in index order: index, name,\n"
    "kind, default, the range a value is kept within, and flags.\n",
    runParams,
};

}  // namespace StrobeQuirk::Cli
