#pragma once
// One control: what it is, what the host shows, and its values.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/param/param_kind.h"
#include "host/param/param_value.h"

namespace OZ::Host::Param {

struct ParamRecord {
  std::uint32_t kind = kChoice;  // a ParamKind number; any number may be stored
  std::string name;              // the host's label and the key of the text form
  std::array<char, 4> tag{};     // a four-character code as stored: "itSQ"
  std::uint32_t tagEnd = 0;      // the word after the code; stays 0
  std::vector<std::int32_t> numbers;
  std::vector<std::string> labels;  // choices of kChoice and kStringChoice, in menu order
  ParamValue value;
  ParamValue defaultValue;  // what reset restores and new instances start with
  ParamValue sliderMin;
  ParamValue sliderMax;
  ParamValue validMin;  // the clamp of setFloat and setInt
  ParamValue validMax;
  std::uint32_t flags = 0;  // ParamFlags bits
  double weight = 1.0;

  // Takes the first four characters of `code`, padding with zeros.
  void setTag(std::string_view code) {
    tag = {};
    for (std::size_t i = 0; i < tag.size() && i < code.size(); ++i) tag[i] = code[i];
  }
  std::string_view tagText() const { return {tag.data(), tag.size()}; }

  bool operator==(const ParamRecord&) const = default;
};

}  // namespace OZ::Host::Param
