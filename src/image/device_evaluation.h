#pragma once
// The device path of a graph node. evaluateOnDevice follows evaluate step
// by step; what differs is that a node's result may live in a device buffer,
// a host image or both, and that pixels move between the two only where a
// node on the other side needs them. A node runs on the device when it has
// a built program and fits the device's limits (deviceMode 1); otherwise it
// runs its processor operation on host images.

#include <cstdio>
#include <deque>
#include <string>
#include <vector>

#include "image/device_program.h"
#include "image/device_transfer.h"
#include "image/filter_base.h"

namespace OZ::Image {

template <class Host>
bool hasPixels(const SharedRef<ImageBuffer<Host>>& image) {
  return image && image->hasPixels();
}

template <class Host>
int FilterBase<Host>::deviceMode(DeviceContext* device) const {
  if (!deviceAvailable(device) || !program || !program->handle) return 0;
  auto exceeds = [](const Rect& r, std::int32_t limit) {
    return std::int64_t(r.x1) - r.x0 > limit || std::int64_t(r.y1) - r.y0 > limit;
  };
  const std::int32_t outputLimit = device->info(kInfoOutputSizeLimit);
  if (outputLimit > 0 && exceeds(region, outputLimit)) return 0;
  const std::int32_t inputLimit = device->info(kInfoInputSizeLimit);
  if (inputLimit > 0)
    for (const FilterBase* input : inputs)
      if (exceeds(input->region, inputLimit)) return 0;
  // At most half of the device's memory is planned for.
  std::uint64_t limit = deviceLimitBytes;
  if (limit == 0) {
    std::int64_t bytes = 0;
    if (device->info(kInfoMemoryBytes, &bytes) <= 0) return 1;
    limit = std::uint64_t(bytes) / 2;
  }
  return peakBytes <= limit ? 1 : 0;
}

template <class Host>
void FilterBase<Host>::buildProgram(Host* host, DeviceContext* device, const PixelDescriptor& descriptor) {
  if (!deviceAvailable(device)) return;
  const KernelSource source = kernelSource(host, device, descriptor);
  if (programText(source).empty()) return;
  buildCachedProgram(*device, program, source);
}

template <class Host>
void FilterBase<Host>::runKernel(Host*, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers) {
  std::vector<KernelArgument> arguments(kernelArgumentCount() + 1);
  fillKernelArguments(arguments.data());
  arguments.back() = KernelArgument{};
  runDeviceProgram(program, target, inputBuffers, inputs.size(), arguments.data());
}

template <class Host>
void FilterBase<Host>::runStages(Host*, DeviceBuffer& target, const DeviceBuffer* const* inputBuffers) {
  std::vector<KernelArgument> arguments;
  std::deque<std::string> names;  // stable addresses until the run has ended
  for (std::size_t k = 0; k < stages.size(); ++k) {
    std::vector<KernelArgument> own(stages[k]->kernelArgumentCount());
    stages[k]->fillKernelArguments(own.data());
    while (!own.empty() && own.back().type == 0) own.pop_back();
    char suffix[24];
    std::snprintf(suffix, sizeof suffix, "_%d", int(k));
    for (KernelArgument argument : own) {
      names.push_back(std::string(argument.name ? argument.name : "") + suffix);
      argument.name = names.back().c_str();
      arguments.push_back(argument);
    }
  }
  arguments.push_back(KernelArgument{});
  runDeviceProgram(program, target, inputBuffers, inputs.size(), arguments.data());
}

template <class Host>
void FilterBase<Host>::handOverCachedDeviceResult(Host* host, const Image& templateImage, Result& result,
                                                  bool& exclusive) {
  if (hasPixels(result.image) && hasPixels(cachedResult.image))
    result.image->copyFrom(*cachedResult.image);
  else if (hasPixels(result.image) && hasHandle(cachedResult.device))
    downloadImage(host, *cachedResult.device->owner, *cachedResult.device, result.image, templateImage);
  else
    result = cachedResult;
  if (useCount >= consumers.size()) cachedResult.release();
  exclusive = false;
}

template <class Host>
void FilterBase<Host>::evaluateOnDevice(Host* host, DeviceContext* device, DeviceObserver* observer,
                                        const Image& templateImage, Result& result, bool& exclusive, int depth) {
  exclusive = true;
  if (consumers.size() >= 2) {
    ++useCount;
    if (cachedResult.image || cachedResult.device) {
      handOverCachedDeviceResult(host, templateImage, result, exclusive);
      return;
    }
  }

  const PixelDescriptor descriptor = deviceDescriptor(
      device, result.device ? result.device->descriptor
              : hasPixels(result.image) ? result.image->descriptor()
                                        : templateImage.descriptor());
  if (deviceAvailable(device) && !(program && program->handle)) buildProgram(host, device, descriptor);
  const int mode = deviceMode(device);
  const bool onDevice = mode == 1;

  auto upload = [&](Result& entry) {
    if (observer) observer->beforeUpload(entry.image->bounds);
    uploadImage(*device, *entry.image, entry.device);
    // Some devices read host memory after the upload has returned.
    if (device->info(kInfoKeepHostCopy) == 1) hostCopy.image = entry.image;
  };
  auto download = [&](Result& entry) {
    if (observer) observer->beforeDownload(entry.device->rect);
    downloadImage(host, *entry.device->owner, *entry.device, entry.image, templateImage);
  };

  const std::size_t none = inputs.size();
  std::vector<Result> inputResults(inputs.size());
  std::size_t reuseIndex = none;
  bool handedDown = false;
  ++depth;

  for (std::size_t i : inputsByCost(*this, descriptor)) {
    FilterBase& input = *inputs[i];
    inputResults[i].image = std::make_shared<Image>(host);
    const bool offered = !isEmpty(region) && !isEmpty(input.region) && !input.directImage() &&
                         reuseIndex == none && canReuseInput(i) && input.consumers.size() == 1;
    if (offered) {
      // A kernel on the device never writes into a host target.
      if (!handedDown && !onDevice && hasPixels(result.image) && !hasHandle(result.device) &&
          (isInfinite(region) || contains(region, input.region))) {
        inputResults[i].image->viewOf(*result.image, input.region);
        handedDown = true;
        reuseIndex = i;
      } else if (input.region == region) {
        reuseIndex = i;
      }
    }
    bool childExclusive = true;
    input.evaluateOnDevice(host, device, observer, templateImage, inputResults[i], childExclusive, depth);
    if (reuseIndex == i && !childExclusive) reuseIndex = none;
  }

  const bool ready = onDevice ? hasHandle(result.device) : hasPixels(result.image);
  if (!ready) {
    Image* direct = directImage();
    bool reused = false;
    if (direct && !hasPixels(result.image)) {
      if (!result.image) result.image = std::make_shared<Image>(host);
      result.image->viewOf(*direct, direct->bounds);
      exclusive = false;
      reused = true;
    } else if (reuseIndex != none) {
      Result& input = inputResults[reuseIndex];
      if (onDevice && !hasHandle(input.device) && hasPixels(input.image) &&
          device->info(kInfoPlainBuffersOnly) == 1)
        upload(input);
      if (!onDevice || hasHandle(input.device)) {
        if (!hasPixels(result.image)) result.image = input.image;
        if (!hasHandle(result.device)) result.device = input.device;
        reused = true;
      }
    }
    if (!reused && onDevice) {
      const Rect rect = hasPixels(result.image) ? result.image->bounds : region;
      PixelDescriptor model = templateImage.descriptor();
      if (!inputs.empty() && hasHandle(inputResults[0].device))
        model = inputResults[0].device->descriptor;
      else if (!inputs.empty() && hasPixels(inputResults[0].image))
        model = inputResults[0].image->descriptor();
      model = deviceDescriptor(device, model);
      if (observer) observer->beforeAllocation(filterName(), rect, true);
      if (!result.device) result.device = std::make_shared<DeviceBuffer>(device);
      result.device->owner = device;
      result.device->rect = rect;
      result.device->descriptor = model;
      result.device->handle = createDeviceMemory(*device, rect, model, wantsDeviceImage(device), kBufferNodeResult);
    } else if (!reused) {
      if (!result.image) result.image = std::make_shared<Image>(host);
      const bool modelFromInput = !inputs.empty() && hasPixels(inputResults[0].image);
      if (observer) observer->beforeAllocation(filterName(), region, false);
      result.image->allocateLike(modelFromInput ? *inputResults[0].image : templateImage, region);
    }
  }
  // A shared result is handed out as both references, so that what one
  // consumer uploads or downloads serves the others.
  if (consumers.size() >= 2) {
    if (!result.image) result.image = std::make_shared<Image>(host);
    if (!result.device) result.device = std::make_shared<DeviceBuffer>(device);
  }

  auto& rows = host->progressLevels[kNodeRowsLevel];
  if (!rows.fixed) rows.current = rows.total = rows.share = 0;
  rows.fixed = 0;
  auto& nodes = host->progressLevels[kNodeCountLevel];
  if (!nodes.fixed) nodes.share = progressUnits();

  if (exclusive && mode == 3) {
    processSpecial(host, device, observer, templateImage, result, inputResults);
  } else if (exclusive && onDevice) {
    if (!isEmpty(result.device->rect)) {
      std::vector<const DeviceBuffer*> buffers;
      for (Result& input : inputResults) {
        if (!hasHandle(input.device) && hasPixels(input.image)) upload(input);
        buffers.push_back(input.device.get());
      }
      if (observer) observer->beforeKernel(filterName());
      if (stages.empty())
        runKernel(host, *result.device, buffers.data());
      else
        runStages(host, *result.device, buffers.data());
      if (hasPixels(result.image)) download(result);
    }
  } else if (exclusive) {
    for (Result& input : inputResults)
      if (!hasPixels(input.image) && hasHandle(input.device)) download(input);
    if (mode == 2) device->table->finish(device->context, device->device);
    if (result.image && !isEmpty(result.image->bounds)) {
      if (observer) observer->beforeProcessorRun(filterName());
      std::vector<Image*> inputImages;
      for (Result& input : inputResults) inputImages.push_back(input.image.get());
      process(host, *result.image, inputImages.empty() ? nullptr : inputImages.data());
      if (hasHandle(result.device)) upload(result);
    }
  }

  if (consumers.size() >= 2) {
    cachedResult = result;
    exclusive = false;
  }

  host->reportProgress(0, 1, 1);
  nodes.current += progressUnits();
}

}  // namespace OZ::Image
