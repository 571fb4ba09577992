#pragma once
// The table of device functions: everything a driver for a compute device
// supplies. The framework only calls it; no implementation is part of the
// library. Every function takes the context's `context` and `device`
// pointers first. Slots the framework never calls stay reserved so that a
// driver's table keeps its layout.
//
// Buffers and programs are opaque handles. Rectangles are in the
// composition's coordinates. copyRegion copies between two handles; host
// memory takes part in a copy through a handle that wrapMemory made for it.
// A function that fails throws; a create or build that returns a null
// handle counts as a failure too.

#include <cstddef>
#include <cstdint>

#include "image/pixel_format.h"
#include "image/rect.h"

namespace OZ::Image {

struct KernelArgument;

using DeviceHandle = void*;

struct DeviceFunctionTable {
  using Reserved = void (*)();

  Reserved reserved0, reserved1, reserved2;
  void (*finish)(void* context, void* device);  // waits until queued work is done
  Reserved reserved4;
  // A key of DeviceInfo; value receives a 64-bit answer where the key has one.
  std::int32_t (*getInfo)(void* context, void* device, std::int32_t key, std::int64_t* value);
  Reserved reserved6, reserved7, reserved8, reserved9, reserved10;
  DeviceHandle (*createBuffer)(void* context, void* device, const Rect* rect, const PixelDescriptor* descriptor,
                               std::int32_t flags);
  // Device access to host memory: data is the first row of rect, rows stride
  // bytes apart (positive; descriptor flag 2 says the rows run bottom up).
  DeviceHandle (*wrapMemory)(void* context, void* device, const Rect* rect, const PixelDescriptor* descriptor,
                             void* data, std::int64_t stride);
  DeviceHandle (*createImage)(void* context, void* device, const Rect* rect, const PixelDescriptor* descriptor,
                              std::int32_t reserved, std::int32_t access);
  Reserved reserved14;
  void (*releaseBuffer)(void* context, void* device, DeviceHandle buffer);
  Reserved reserved16, reserved17;
  void (*setBufferMode)(void* context, void* device, DeviceHandle buffer, std::int32_t mode);
  void (*copyRegion)(void* context, void* device, const Rect* sourceRect, const Rect* targetRect, DeviceHandle source,
                     DeviceHandle target);
  void (*clearRegion)(void* context, void* device, const Rect* rect, DeviceHandle buffer);
  Reserved reserved21;
  void (*setBufferState)(void* context, void* device, DeviceHandle buffer, std::int32_t state, std::int32_t,
                         std::int32_t);
  // name may be null; options is never null.
  DeviceHandle (*buildProgram)(void* context, void* device, const char* source, const char* name,
                               const char* options);
  void (*releaseProgram)(void* context, void* device, DeviceHandle program);
  // Runs a program over rect of target. arguments ends with an entry whose
  // name is null.
  void (*runProgram)(void* context, void* device, DeviceHandle program, const Rect* rect, DeviceHandle target,
                     const DeviceHandle* inputs, std::int32_t inputCount, const KernelArgument* arguments);
};

static_assert(offsetof(DeviceFunctionTable, finish) == 3 * sizeof(void (*)()));
static_assert(offsetof(DeviceFunctionTable, getInfo) == 5 * sizeof(void (*)()));
static_assert(offsetof(DeviceFunctionTable, createBuffer) == 11 * sizeof(void (*)()));
static_assert(offsetof(DeviceFunctionTable, releaseBuffer) == 15 * sizeof(void (*)()));
static_assert(offsetof(DeviceFunctionTable, setBufferMode) == 18 * sizeof(void (*)()));
static_assert(offsetof(DeviceFunctionTable, setBufferState) == 22 * sizeof(void (*)()));
static_assert(offsetof(DeviceFunctionTable, runProgram) == 25 * sizeof(void (*)()));

// The questions getInfo answers. A result that is not positive means "no"
// (or "no limit" for the sizes).
enum DeviceInfo : std::int32_t {
  kInfoPlainBuffersOnly = 1000,  // 1: the device has no images, only buffers
  kInfoInputSizeLimit = 1002,    // greatest width or height of an input
  kInfoOutputSizeLimit = 1003,   // greatest width or height of an output
  kInfoMemoryBytes = 1006,       // value: bytes of device memory
  kInfoLinearSampling8 = 1009,   // linear sampling of type 0 exists
  kInfoLinearSampling16 = 1010,  // ... of type 2
  kInfoLinearSamplingHalf = 1011,  // ... of type 4
  kInfoLinearSamplingOther = 1012,  // ... of any other type
  kInfoKeepHostCopy = 1039,      // 1: an uploaded image must outlive its upload
  kInfoCopyImages = 1040,        // 1: images are copied into device buffers, never wrapped
};

// createBuffer flags: the buffer holds a node's result, which may be read back.
inline constexpr std::int32_t kBufferNodeResult = 2;
// setBufferMode after wrapping host memory: the device reads it in place.
inline constexpr std::int32_t kBufferModeHostMemory = 4;
// setBufferState after a download: the host has read the contents.
inline constexpr std::int32_t kBufferStateReadBack = 1026;
// createImage access: read and write.
inline constexpr std::int32_t kImageReadWrite = 2;

}  // namespace OZ::Image
