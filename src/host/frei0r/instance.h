#pragma once
// One frei0r effect instance: the effect on this adapter, the store of its
// controls and the adapter's, and the frame size fixed at construction.
// Everything that crosses the frei0r boundary is checked here, so that a
// careless host gets a refusal and never a crash.

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "host/frei0r/adapter_controls.h"
#include "host/frei0r/host.h"
#include "host/frei0r/param_table.h"

namespace OZ::Host::Frei0r {

// Fills an empty store as every instance has it: the effect's controls,
// then the adapter's.
AdapterControls defineAllControls(Host& effect, OZ::Host::Param::Parameters& store);

class Instance {
 public:
  // Frames wider or taller than this are refused: their memory would not fit
  // a 32-bit address space.
  static constexpr unsigned kMaxSide = 16384;
  static bool acceptsSize(unsigned width, unsigned height) {
    return width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide;
  }

  // The size must be accepted. Fills the store with the effect's controls,
  // then the adapter's, all at their defaults.
  Instance(std::unique_ptr<Host> effect, unsigned width, unsigned height);
  Instance(const Instance&) = delete;
  Instance& operator=(const Instance&) = delete;

  int controlCount() const { return int(controls_.size()); }
  // One frei0r value (a double, booleans at 0.5 and above being on), clamped
  // by the store. False, and nothing changed, for a null value, a NaN or an
  // index out of range.
  bool setControl(int index, const void* value);
  // False, and nothing written, for a null value or an index out of range.
  bool getControl(int index, void* value) const;

  // One frame. The output receives the effect at the frame number of `time`;
  // the input passes through unchanged when the time gives no frame number
  // or the render fails. Null frames are refused and touch nothing.
  void update(double time, const std::uint32_t* input, std::uint32_t* output) noexcept;

  Host& effect() { return *effect_; }
  const OZ::Host::Param::Parameters& store() const { return *store_; }

 private:
  bool frameAt(double time, std::int32_t& frame) const;
  bool render(std::int32_t frame, const std::uint32_t* input, std::uint32_t* output) noexcept;
  void copyThrough(const std::uint32_t* input, std::uint32_t* output) const;
  std::size_t frameBytes() const { return std::size_t(width_) * std::size_t(height_) * 4; }

  std::unique_ptr<Host> effect_;
  std::unique_ptr<OZ::Host::Param::Parameters> store_;
  AdapterControls adapter_{};
  std::vector<ParamEntry> controls_;
  std::int32_t width_;
  std::int32_t height_;
  // frei0r allows one call at a time per instance, but hosts set controls
  // from their own threads while a frame renders, and MLT may render slices
  // of one frame at once.
  mutable std::mutex callLock_;
};

}  // namespace OZ::Host::Frei0r
