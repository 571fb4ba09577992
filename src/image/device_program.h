#pragma once
// Programs on a device: their text, the options a build gets, the cache that
// builds each key once, and a run with a list of arguments.

#include <cstddef>
#include <memory>
#include <string>

#include "image/device.h"

namespace OZ::Image {

// The program's text: its pieces joined when it has pieces, else its source.
std::string programText(const KernelSource& source);

// The options a build of text gets on this device, joined by single blanks:
// the extra options, then the device's channel order and white scale. Only
// a device that converts formats itself gets any, and a text marked
// "BUILT " none.
std::string programBuildOptions(const DeviceContext& device, const std::string& text, const char* extraOptions);

// Makes program share the build of source.key, building it on the first
// request. A key whose build failed throws on every later request.
void buildCachedProgram(DeviceContext& device, std::shared_ptr<DeviceProgram>& program, const KernelSource& source,
                        const char* extraOptions = nullptr);

// Runs a built program over the target's rectangle.
void runDeviceProgram(const std::shared_ptr<DeviceProgram>& program, const DeviceBuffer& target,
                      const DeviceBuffer* const* inputs, std::size_t inputCount, const KernelArgument* arguments);

// Device memory for rect: an image when one is preferred and the device has
// images, else a plain buffer. A device that refuses throws std::bad_alloc.
DeviceHandle createDeviceMemory(DeviceContext& device, const Rect& rect, const PixelDescriptor& descriptor,
                                bool preferImage, std::int32_t bufferFlags);

// A descriptor as this device takes it: one that converts formats itself
// gets neither channel order nor white.
PixelDescriptor deviceDescriptor(const DeviceContext* device, PixelDescriptor descriptor);

}  // namespace OZ::Image
