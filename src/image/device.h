#pragma once
// The records of the device path: a way to run a graph on a compute device.
// No device exists behind it yet; nodes answer as nodes without a device.

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "image/pixel_format.h"
#include "image/rect.h"

namespace OZ::Image {

struct DeviceFunctionTable;  // the driver's table of device functions
struct DeviceProgram;

struct DeviceContext {
  void* context = nullptr;
  const DeviceFunctionTable* table = nullptr;  // null when no device is there
  void* device = nullptr;
  std::map<std::string, std::shared_ptr<DeviceProgram>> programCache;
  std::int32_t nativeType = kUnsigned8;
  std::uint8_t nativeSwizzle = 27;
  std::uint32_t nativeWhite = 0;
  std::uint8_t usable = 0;
  std::uint8_t nativeFormat = 0;
};

struct DeviceProgram {
  DeviceContext* owner = nullptr;
  void* handle = nullptr;  // null before a build
};

struct DeviceBuffer {
  DeviceContext* owner = nullptr;
  void* handle = nullptr;  // null when nothing is allocated
  Rect rect{};
  PixelDescriptor descriptor{};
};

struct KernelArgument {
  const char* name = nullptr;  // null ends a list
  std::int32_t type = 0;       // 1 to 4: that many floats; 5: one signed 32-bit integer
  unsigned char value[16] = {};
};

struct KernelSource {
  std::string key, source, name;  // an empty source: the filter has no program
};

}  // namespace OZ::Image
