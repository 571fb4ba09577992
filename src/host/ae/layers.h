#pragma once
// The layers of one render: each wanted layer checked out of the host, its
// image, and the check-in of every one of them on every way out.

#include <cstdint>
#include <memory>
#include <vector>

#include "host/ae/host.h"

namespace OZ::Host::AE {

// One live checkout.
struct LayerEntry {
  PF_ParamDef param{};                    // filled by a classic checkout; its layer is the world
  PF_InData* inData = nullptr;            // for the check-in
  PF_SmartRenderExtra* extra = nullptr;   // null in a classic render
  const void* renderSuite = nullptr;      // a checkout through the application's render suites; nothing sets it
  const void* optionsSuite = nullptr;
  std::uint64_t receipt = 0;
  PF_LayerDef* world = nullptr;           // null when the layer is empty
  std::int32_t checkoutId = 0;            // the smart checkout's id
  std::int32_t lastError = 0;
  std::uint8_t checkedOut = 0;            // 1 while the host holds a checkout to be returned

  // Gives the layer back if it is out. Never throws.
  void checkIn() noexcept;
};

struct LayerSet {
  LayerSet(std::size_t count, Host::Image* output) : entries(count), images(count, nullptr), output(output) {}
  // The extra images first, then every checkout back to the host.
  ~LayerSet();
  LayerSet(const LayerSet&) = delete;
  LayerSet& operator=(const LayerSet&) = delete;

  std::vector<LayerEntry> entries;
  std::vector<Host::Image*> images;  // owned; null until checked out
  std::vector<LayerCheckout> checkouts;
  Host::Image* output;  // not owned
};

// The offsets the smart pre-render leaves for the render: x then y per
// checkout, in the C allocator's memory, which the host frees through
// deletePreRenderOffsets.
void deletePreRenderOffsets(void* offsets);

}  // namespace OZ::Host::AE
