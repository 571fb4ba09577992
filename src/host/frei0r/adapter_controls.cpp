#include "host/frei0r/adapter_controls.h"

#include <cmath>

#include "host/param/control_records.h"

namespace OZ::Host::Frei0r {

using OZ::Host::Param::checkBox;
using OZ::Host::Param::floatControl;

const char* const kAdapterControlExplanations[3] = {
    "Frames per second of the clip: the frame number is the time times this rate",
    "On when the host passes the time in milliseconds (ffmpeg), off for seconds (MLT, GStreamer)",
    "Worker threads for one frame: 0 for one per processor, 1 for none beside the host's",
};

AdapterControls appendAdapterControls(OZ::Host::Param::Parameters& store) {
  const int first = int(store.records.size());
  store.records.push_back(floatControl("Frame Rate", "rfFZ", 25.0, 0.01, 1000.0));
  store.records.push_back(checkBox("Time In Milliseconds", "smFZ"));
  store.records.push_back(floatControl("Threads", "htFZ", 0.0, 0.0, 64.0));
  return {first, first + 1, first + 2};
}

std::uint64_t threadsSetting(double value) {
  // The store has clamped the value to 0..64 already; NaN never gets in.
  return value >= 0.5 ? std::uint64_t(std::floor(value + 0.5)) : 0;
}

}  // namespace OZ::Host::Frei0r
