#pragma once
// Limits of the text reader, for callers that must keep it from stalling.

#include <cstddef>
#include <string_view>

namespace OZ::Host::Param {

// The longest key or value the text reader takes; one more leaves its stream failed.
inline constexpr std::size_t kTextFieldLength = 255;

// Walks `text` as the reader would take it apart and returns the offset of
// the first key or value that would leave the stream failed (so that
// readText would never return), or std::string_view::npos when the reader
// gets to the end.
std::size_t findStallingTextField(std::string_view text);

}  // namespace OZ::Host::Param
