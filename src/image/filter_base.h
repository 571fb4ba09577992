#pragma once
// A node of a filter graph. Concrete filters state their bounds, the input
// region an output region needs, and their pixel operation; the framework
// here does the rest: where each node renders, what it may reuse, and when
// memory is freed.
//
// Besides the image record's needs, the Host supplies progressLevels[4]
// (current, total, share, fixed) and reportProgress(marker, current, total).

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "image/device.h"
#include "image/image_buffer.h"
#include "image/rect.h"
#include "image/shared_ref.h"

namespace OZ::Image {

// What a node hands back: its image, and (on the device path) its buffer.
template <class Host>
struct EvalResult {
  SharedRef<ImageBuffer<Host>> image;
  SharedRef<DeviceBuffer> device;

  void release() {
    image.reset();
    device.reset();
  }
};

// The progress level that covers one node's own rows, and the one that
// counts finished nodes.
inline constexpr int kNodeRowsLevel = 0;
inline constexpr int kNodeCountLevel = 1;

template <class Host>
class FilterBase {
 public:
  using Image = ImageBuffer<Host>;
  using Result = EvalResult<Host>;

  FilterBase() = default;
  FilterBase(const FilterBase&) = delete;
  FilterBase& operator=(const FilterBase&) = delete;
  virtual ~FilterBase() = default;

  virtual const char* filterName() const = 0;
  virtual std::string filterNameString() const { return filterName(); }
  // The output's extent; infinite for a node without inputs.
  virtual Rect bounds() const { return inputs.empty() ? infiniteRect : inputs[0]->bounds(); }
  // The part of input inputIndex that the output rect needs.
  virtual Rect inputRegion(const Rect& rect, std::size_t /*inputIndex*/) const { return rect; }
  virtual std::uint64_t progressUnits() const { return 1; }
  virtual std::uint64_t totalProgressUnits();
  // Graph-rewriting hooks: 1 takes over the input's inputs, 2 stops, 0 goes on.
  virtual int absorbInput(FilterBase* /*input*/) { return 0; }
  virtual bool sameKind(const FilterBase& other) const { return std::strcmp(filterName(), other.filterName()) == 0; }
  virtual bool mergeableWith(const FilterBase& other) const { return sameKind(other); }
  // An input index whose image this node passes on unchanged, or -1.
  virtual int passThroughInput() const { return -1; }

  // The device path (device_evaluation.h). A node runs its program on the
  // device when it has one and fits the device's limits, else on the
  // processor. Modes: 0 processor, 1 device, 2 processor after a device
  // finish, 3 processSpecial.
  virtual bool wantsDeviceImage(DeviceContext* /*device*/) const { return false; }
  virtual bool deviceAvailable(DeviceContext* device) const {
    return device && device->table && device->usable;
  }
  virtual int deviceMode(DeviceContext* device) const;

  virtual void evaluate(Host* host, const Image& templateImage, Result& result, bool& exclusive, int depth);
  virtual void evaluateOnDevice(Host* host, DeviceContext* device, DeviceObserver* observer,
                                const Image& templateImage, Result& result, bool& exclusive, int depth);

  // Whether the output may share memory with input inputIndex: the
  // operation must then be safe in place.
  virtual bool canReuseInput(std::size_t /*inputIndex*/) const { return false; }
  // An image this node already has (a layer), which consumers view.
  virtual Image* directImage() const { return nullptr; }
  // Whether `image`, this node's result in the render under way, is known to
  // hold three equal colour channels in every pixel, so that a consumer may
  // work on one of them for all three.
  virtual bool equalColourChannels(const Image& /*image*/) const { return false; }
  virtual void process(Host* /*host*/, Image& /*output*/, Image* const* /*inputImages*/) {}

  virtual KernelSource kernelSource(Host* /*host*/, DeviceContext* /*device*/, const PixelDescriptor&) const {
    return {};
  }
  virtual void buildProgram(Host* host, DeviceContext* device, const PixelDescriptor& descriptor);
  virtual void runKernel(Host* host, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers);
  virtual std::size_t kernelArgumentCount() const { return 0; }
  virtual void fillKernelArguments(KernelArgument* /*arguments*/) const {}
  virtual void processSpecial(Host* /*host*/, DeviceContext* /*device*/, DeviceObserver* /*observer*/,
                              const Image& /*templateImage*/, Result& /*result*/, std::vector<Result>& /*inputResults*/) {}
  // Bytes a node needs beyond its output while it runs.
  virtual std::uint64_t extraMemory(int /*level*/, const Rect& /*rect*/, const PixelDescriptor&) const { return 0; }

  std::vector<FilterBase*> inputs;     // read by this node, in order
  std::vector<FilterBase*> consumers;  // nodes reading this one, once per edge
  std::vector<FilterBase*> stages;     // further kernels of one device program
  std::string label;
  Rect region = emptyRect;      // the part of the output the graph needs
  Rect rootRegion = emptyRect;  // the root's region
  std::uint64_t peakBytes = 0;
  std::uint64_t deviceLimitBytes = 0;
  Result cachedResult;  // kept between the consumers of a shared node
  Result hostCopy;
  SharedRef<DeviceProgram> program;
  std::uint64_t useCount = 0;
  std::uint64_t countedUnits = 0;

 protected:
  // Links an input: it goes on this node's inputs, this node on its consumers.
  void connectInput(FilterBase* input) {
    inputs.push_back(input);
    input->consumers.push_back(this);
  }

  // One program run for the kernels of all stages, arguments named by stage.
  void runStages(Host* host, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers);

 private:
  void handOverCachedResult(Result& result, bool& exclusive);
  void handOverCachedDeviceResult(Host* host, const Image& templateImage, Result& result, bool& exclusive);
};

// Bytes of a node's output over its region. The area is taken in 32 bits,
// as the estimates always have; no floating point.
template <class Host>
std::uint64_t regionBytes(const FilterBase<Host>& node, const PixelDescriptor& descriptor) {
  const std::uint32_t w = std::uint32_t(node.region.x1) - std::uint32_t(node.region.x0);
  const std::uint32_t h = std::uint32_t(node.region.y1) - std::uint32_t(node.region.y0);
  const std::int32_t area = std::int32_t(w * h);
  return std::uint64_t(std::int64_t(area)) * descriptor.components * componentBytes(descriptor.type);
}

// The inputs, costliest first: the one whose subtree needs the most beyond
// its own result goes first, while the least is held. Equal costs keep
// input order.
template <class Host>
std::vector<std::size_t> inputsByCost(const FilterBase<Host>& node, const PixelDescriptor& descriptor) {
  std::uint64_t total = 0;
  for (const auto* input : node.inputs) total += regionBytes(*input, descriptor);
  std::vector<std::pair<std::uint64_t, std::size_t>> costs;
  for (std::size_t i = 0; i < node.inputs.size(); ++i)
    costs.emplace_back(node.inputs[i]->peakBytes + total - regionBytes(*node.inputs[i], descriptor), i);
  std::stable_sort(costs.begin(), costs.end(), [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<std::size_t> order;
  for (const auto& entry : costs) order.push_back(entry.second);
  return order;
}

template <class Host>
std::uint64_t FilterBase<Host>::totalProgressUnits() {
  if (countedUnits != 0) return 0;  // a shared node counts once
  std::uint64_t sum = progressUnits();
  for (FilterBase* input : inputs) sum += input->totalProgressUnits();
  countedUnits = sum;
  return sum;
}

template <class Host>
void FilterBase<Host>::handOverCachedResult(Result& result, bool& exclusive) {
  if (result.image && result.image->hasPixels() && cachedResult.image && cachedResult.image->hasPixels())
    result.image->copyFrom(*cachedResult.image);
  else
    result = cachedResult;
  if (useCount >= consumers.size()) cachedResult.release();
  exclusive = false;
}

template <class Host>
void FilterBase<Host>::evaluate(Host* host, const Image& templateImage, Result& result, bool& exclusive,
                                int depth) {
  exclusive = true;
  if (consumers.size() >= 2) {
    ++useCount;
    if (cachedResult.image || cachedResult.device) {
      handOverCachedResult(result, exclusive);
      return;
    }
  }

  const std::size_t none = inputs.size();
  std::vector<Result> inputResults(inputs.size());
  const PixelDescriptor descriptor =
      result.image && result.image->hasPixels() ? result.image->descriptor() : PixelDescriptor{4, 1.0f, kUnsigned8};
  std::size_t reuseIndex = none;
  bool handedDown = false;
  ++depth;

  for (std::size_t i : inputsByCost(*this, descriptor)) {
    FilterBase& input = *inputs[i];
    inputResults[i].image = std::make_shared<Image>(host);
    const bool offered = !isEmpty(region) && !isEmpty(input.region) && !input.directImage() &&
                         reuseIndex == none && canReuseInput(i) && input.consumers.size() == 1;
    if (offered) {
      if (!handedDown && result.image && result.image->hasPixels() &&
          (isInfinite(region) || contains(region, input.region))) {
        // The input renders straight into this node's target.
        inputResults[i].image->viewOf(*result.image, input.region);
        handedDown = true;
        reuseIndex = i;
      } else if (input.region == region) {
        reuseIndex = i;
      }
    }
    bool childExclusive = true;
    input.evaluate(host, templateImage, inputResults[i], childExclusive, depth);
    // A shared result must not be overwritten.
    if (reuseIndex == i && !childExclusive) reuseIndex = none;
  }

  if (!(result.image && result.image->hasPixels())) {
    if (Image* direct = directImage()) {
      if (!result.image) result.image = std::make_shared<Image>(host);
      result.image->viewOf(*direct, direct->bounds);
      exclusive = false;
    } else if (reuseIndex != none) {
      result = inputResults[reuseIndex];
    } else {
      if (!result.image) result.image = std::make_shared<Image>(host);
      const bool modelFromInput = !inputs.empty() && inputResults[0].image && inputResults[0].image->hasPixels();
      result.image->allocateLike(modelFromInput ? *inputResults[0].image : templateImage, region);
    }
  }

  auto& rows = host->progressLevels[kNodeRowsLevel];
  if (!rows.fixed) rows.current = rows.total = rows.share = 0;
  rows.fixed = 0;
  auto& nodes = host->progressLevels[kNodeCountLevel];
  if (!nodes.fixed) nodes.share = progressUnits();

  if (exclusive && !isEmpty(result.image->bounds)) {
    std::vector<Image*> inputImages;
    for (Result& input : inputResults) inputImages.push_back(input.image.get());
    process(host, *result.image, inputImages.empty() ? nullptr : inputImages.data());
  }

  if (consumers.size() >= 2) {
    cachedResult = result;
    exclusive = false;
  }

  host->reportProgress(0, 1, 1);
  nodes.current += progressUnits();
}

}  // namespace OZ::Image

// The definitions of the device path's members.
#include "image/device_evaluation.h"
