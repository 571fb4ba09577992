#include "host/frei0r/instance.h"

#include <cmath>
#include <cstring>
#include <new>

#include "host/frei0r/frame_clock.h"
#include "host/frei0r/world.h"

extern "C" {
#include <frei0r.h>
}

namespace OZ::Host::Frei0r {

AdapterControls defineAllControls(Host& effect, OZ::Host::Param::Parameters& store) {
  effect.defineParameters(store);
  return appendAdapterControls(store);
}

Instance::Instance(std::unique_ptr<Host> effect, unsigned width, unsigned height)
    : effect_(std::move(effect)),
      store_(std::make_unique<OZ::Host::Param::Parameters>()),
      width_(std::int32_t(width)),
      height_(std::int32_t(height)) {
  adapter_ = defineAllControls(*effect_, *store_);
  controls_ = describeControls(*store_, {});
}

bool Instance::setControl(int index, const void* value) {
  if (!value || index < 0 || index >= controlCount()) return false;
  double number;
  std::memcpy(&number, value, sizeof number);
  if (std::isnan(number)) return false;
  const ParamEntry& entry = controls_[std::size_t(index)];
  std::lock_guard<std::mutex> guard(callLock_);
  if (entry.type == F0R_PARAM_BOOL)
    store_->setBool(number >= 0.5, entry.storeIndex);
  else
    store_->setFloat(entry.storeIndex, number);
  return true;
}

bool Instance::getControl(int index, void* value) const {
  if (!value || index < 0 || index >= controlCount()) return false;
  const ParamEntry& entry = controls_[std::size_t(index)];
  std::lock_guard<std::mutex> guard(callLock_);
  const double number = entry.type == F0R_PARAM_BOOL ? (store_->getBool(entry.storeIndex) ? 1.0 : 0.0)
                                                     : store_->getFloat(entry.storeIndex);
  std::memcpy(value, &number, sizeof number);
  return true;
}

bool Instance::frameAt(double time, std::int32_t& frame) const {
  return frameAtTime(time, store_->getFloat(adapter_.frameRate), store_->getBool(adapter_.milliseconds), frame);
}

void Instance::update(double time, const std::uint32_t* input, std::uint32_t* output) noexcept {
  if (!input || !output) return;
  std::lock_guard<std::mutex> guard(callLock_);
  // The graph reads the source while it writes the output: a host that
  // hands over overlapping frames gets its input copied first.
  std::unique_ptr<std::uint32_t[]> inputCopy;
  const std::uintptr_t in = reinterpret_cast<std::uintptr_t>(input);
  const std::uintptr_t out = reinterpret_cast<std::uintptr_t>(output);
  if (in < out + frameBytes() && out < in + frameBytes()) {
    inputCopy.reset(new (std::nothrow) std::uint32_t[frameBytes() / 4]);
    if (!inputCopy) return;
    std::memcpy(inputCopy.get(), input, frameBytes());
    input = inputCopy.get();
  }
  std::int32_t frame;
  if (!frameAt(time, frame) || !render(frame, input, output)) copyThrough(input, output);
}

void Instance::copyThrough(const std::uint32_t* input, std::uint32_t* output) const {
  if (input != output) std::memmove(output, input, frameBytes());
}

bool Instance::render(std::int32_t frame, const std::uint32_t* input, std::uint32_t* output) noexcept {
  Host& host = *effect_;
  try {
    host.frame = frame;
    host.threadCount = threadsSetting(store_->getFloat(adapter_.threads));
    host.abortCode.store(0);
    for (ProgressLevel& level : host.progressLevels) level = ProgressLevel{};

    World source = frameWorld(input, width_, height_);
    World target = frameWorld(output, width_, height_);
    host.output = &target;
    {
      Host::Image sourceImage(&host, &source);
      Host::Image outputImage(&host, &target);
      Host::Image spare(&host);
      host.prepareFrame(*store_, outputImage.bounds);
      host.prepareFrameBounds(*store_, outputImage.bounds);
      host.renderFrame(*store_, sourceImage, outputImage, spare, nullptr);
    }
    host.output = nullptr;
    return true;
  } catch (...) {
    host.output = nullptr;
    return false;
  }
}

}  // namespace OZ::Host::Frei0r
