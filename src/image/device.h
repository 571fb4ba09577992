#pragma once
// The records of the device path: a device, its programs and buffers, and
// the arguments a kernel receives by name. A driver supplies the table of
// device functions (device_table.h); without one every node runs on the
// processor.

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>

#include "image/device_table.h"
#include "image/pixel_format.h"
#include "image/rect.h"

namespace OZ::Image {

struct DeviceProgram;

struct DeviceContext {
  void* context = nullptr;
  const DeviceFunctionTable* table = nullptr;  // null when no device is there
  void* device = nullptr;
  // Built programs by key, kept between frames. An entry without a program
  // marks a build that failed: it is not tried again.
  std::map<std::string, std::shared_ptr<DeviceProgram>> programCache;
  std::int32_t nativeType = kUnsigned8;
  std::uint8_t nativeSwizzle = 27;
  std::uint32_t nativeWhite = 0;  // 0: none
  std::uint8_t usable = 0;        // 0 turns the device path off
  std::uint8_t nativeFormat = 0;  // 1: the device converts formats itself

  std::int32_t info(std::int32_t key, std::int64_t* value = nullptr) const {
    return table->getInfo(context, device, key, value);
  }
};

// A built program; freed through the table with its last holder.
struct DeviceProgram {
  explicit DeviceProgram(DeviceContext* owner = nullptr) : owner(owner) {}
  DeviceProgram(const DeviceProgram&) = delete;
  DeviceProgram& operator=(const DeviceProgram&) = delete;
  ~DeviceProgram();

  DeviceContext* owner;
  DeviceHandle handle = nullptr;  // null before a build
};

// Pixels on the device; freed through the table with its last holder.
struct DeviceBuffer {
  explicit DeviceBuffer(DeviceContext* owner = nullptr) : owner(owner) {}
  DeviceBuffer(const DeviceBuffer&) = delete;
  DeviceBuffer& operator=(const DeviceBuffer&) = delete;
  ~DeviceBuffer();

  // Gives the memory back now; the record stays usable for a new handle.
  void release() noexcept;

  DeviceContext* owner;
  DeviceHandle handle = nullptr;  // null when nothing is allocated
  Rect rect{};
  PixelDescriptor descriptor{};
};

inline bool hasHandle(const std::shared_ptr<DeviceBuffer>& buffer) { return buffer && buffer->handle; }

// One argument of a kernel call. A list ends with an entry whose name is null.
struct KernelArgument {
  const char* name = nullptr;
  std::int32_t type = 0;  // 1 to 4: that many floats; 5: one signed 32-bit integer
  unsigned char value[16] = {};
};

inline constexpr std::int32_t kArgumentInteger = 5;

KernelArgument floatArgument(const char* name, std::initializer_list<float> values);
KernelArgument integerArgument(const char* name, std::int32_t value);
float argumentFloat(const KernelArgument& argument, int index);
std::int32_t argumentInteger(const KernelArgument& argument);

// A program's text given in pieces: each length counts the piece's closing
// zero. A piece with a null text ends the list.
struct KernelSourcePart {
  const char* text;
  std::size_t length;
};

// What a filter's program is made of. An empty text means no program. A
// text that starts with "BUILT " is compiled already and takes no options.
struct KernelSource {
  const KernelSourcePart* parts = nullptr;  // when set, the text is these pieces joined
  std::string key, source, name;
};

// Told what the device evaluation is about to do; a test or a profiler may
// listen. Every operation does nothing unless replaced.
class DeviceObserver {
 public:
  virtual ~DeviceObserver() = default;
  virtual void beforeAllocation(const char* /*filterName*/, const Rect& /*rect*/, bool /*onDevice*/) {}
  virtual void beforeUpload(const Rect& /*rect*/) {}
  virtual void beforeDownload(const Rect& /*rect*/) {}
  virtual void beforeKernel(const char* /*filterName*/) {}
  virtual void beforeProcessorRun(const char* /*filterName*/) {}
};

}  // namespace OZ::Image
