#include "cli/frame.h"

#include <string>

namespace StrobeQuirk::Cli {

ComponentPlaces componentPlaces(const RawFormat& format) {
  return std::string(format.name).compare(0, 4, "argb") == 0 ? ComponentPlaces{1, 2, 3, 0} : ComponentPlaces{2, 1, 0, 3};
}

}  // namespace StrobeQuirk::Cli
