#include "image/device_program.h"

#include <cstdio>
#include <new>
#include <vector>

#include "image/exception.h"

namespace OZ::Image {
namespace {

constexpr const char* kBuiltMark = "BUILT ";
constexpr char kLanes[] = "xyzw";

// The value of a full-scale component; 0 for the types that are not scaled.
float fullScale(std::int32_t type) {
  switch (type) {
    case kUnsigned8: return 255.0f;
    case kSigned8: return 127.0f;
    case kUnsigned16: return 65535.0f;
    case kSigned16: return 32767.0f;
    default: return 0.0f;
  }
}

// The device's channel order as two maps for the kernels: where each
// channel sits in a pixel, and its inverse.
void appendSwizzleOptions(std::string& options, std::uint8_t swizzle) {
  const int p[4] = {swizzle >> 6 & 3, swizzle >> 4 & 3, swizzle >> 2 & 3, swizzle & 3};
  int q[4] = {0, 1, 2, 3};
  for (int i = 0; i < 4; ++i) q[p[i]] = i;
  char text[64];
  std::snprintf(text, sizeof text, "-D PIXEL_SWIZZLE=%c%c%c%c", kLanes[p[0]], kLanes[p[1]], kLanes[p[2]], kLanes[p[3]]);
  options += options.empty() ? "" : " ";
  options += text;
  std::snprintf(text, sizeof text, "-D PIXEL_SWIZZLE1=%c%c%c%c", kLanes[q[0]], kLanes[q[1]], kLanes[q[2]], kLanes[q[3]]);
  options += ' ';
  options += text;
}

}  // namespace

std::string programText(const KernelSource& source) {
  if (!source.parts) return source.source;
  std::size_t size = 1;
  for (const KernelSourcePart* part = source.parts; part->text; ++part)
    if (part->length > 1) size += part->length - 1;
  std::string text;
  text.reserve(size);
  for (const KernelSourcePart* part = source.parts; part->text; ++part)
    if (part->length > 1) text.append(part->text, part->length - 1);
  return text;
}

std::string programBuildOptions(const DeviceContext& device, const std::string& text, const char* extraOptions) {
  std::string options;
  if (!device.nativeFormat || text.rfind(kBuiltMark, 0) == 0) return options;
  if (extraOptions) options = extraOptions;
  if (device.nativeSwizzle != 27) appendSwizzleOptions(options, device.nativeSwizzle);
  if (device.nativeWhite != 0) {
    const float full = fullScale(device.nativeType);
    const float scale = full != 0.0f ? float(device.nativeWhite) / full : float(device.nativeWhite);
    if (scale != 1.0f) {
      char option[64];
      std::snprintf(option, sizeof option, "-D PIXEL_SCALE=%ff", double(scale));
      options += options.empty() ? "" : " ";
      options += option;
    }
  }
  return options;
}

void buildCachedProgram(DeviceContext& device, std::shared_ptr<DeviceProgram>& program, const KernelSource& source,
                        const char* extraOptions) {
  const auto found = device.programCache.find(source.key);
  if (found != device.programCache.end()) {
    if (!found->second) throw Exception("Previous build failure", source.key);
    program = found->second;
    return;
  }
  if (!program) program = std::make_shared<DeviceProgram>(&device);
  // The empty entry stays behind if the build throws: it is not retried.
  device.programCache[source.key] = nullptr;
  const std::string text = programText(source);
  const std::string options = programBuildOptions(device, text, extraOptions);
  const DeviceHandle handle = device.table->buildProgram(device.context, device.device, text.c_str(),
                                                         source.name.empty() ? nullptr : source.name.c_str(),
                                                         options.c_str());
  if (!handle) throw Exception("Program build failed", source.key);
  program->owner = &device;
  program->handle = handle;
  device.programCache[source.key] = program;
}

void runDeviceProgram(const std::shared_ptr<DeviceProgram>& program, const DeviceBuffer& target,
                      const DeviceBuffer* const* inputs, std::size_t inputCount, const KernelArgument* arguments) {
  if (!program || !program->handle || !program->owner) throw Exception("Device", "a kernel has no program");
  std::vector<DeviceHandle> handles(inputCount);
  for (std::size_t i = 0; i < inputCount; ++i) handles[i] = inputs[i] ? inputs[i]->handle : nullptr;
  const DeviceContext& device = *program->owner;
  device.table->runProgram(device.context, device.device, program->handle, &target.rect, target.handle,
                           handles.data(), std::int32_t(inputCount), arguments);
}

DeviceHandle createDeviceMemory(DeviceContext& device, const Rect& rect, const PixelDescriptor& descriptor,
                                bool preferImage, std::int32_t bufferFlags) {
  const DeviceHandle handle =
      preferImage && device.info(kInfoPlainBuffersOnly) != 1
          ? device.table->createImage(device.context, device.device, &rect, &descriptor, 0, kImageReadWrite)
          : device.table->createBuffer(device.context, device.device, &rect, &descriptor, bufferFlags);
  if (!handle) throw std::bad_alloc();
  return handle;
}

PixelDescriptor deviceDescriptor(const DeviceContext* device, PixelDescriptor descriptor) {
  if (device && device->nativeFormat) {
    descriptor.swizzle = 27;
    descriptor.white = 0;
  }
  return descriptor;
}

}  // namespace OZ::Image
