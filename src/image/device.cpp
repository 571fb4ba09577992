#include "image/device.h"

#include <cstring>

namespace OZ::Image {

// Clean-up never throws: a driver that fails to free has nothing better to
// tell us at this point.
DeviceProgram::~DeviceProgram() {
  if (!owner || !owner->table || !handle) return;
  try {
    owner->table->releaseProgram(owner->context, owner->device, handle);
  } catch (...) {
  }
}

DeviceBuffer::~DeviceBuffer() { release(); }

void DeviceBuffer::release() noexcept {
  if (owner && owner->table && handle) {
    try {
      owner->table->releaseBuffer(owner->context, owner->device, handle);
    } catch (...) {
    }
  }
  handle = nullptr;
}

KernelArgument floatArgument(const char* name, std::initializer_list<float> values) {
  KernelArgument argument;
  argument.name = name;
  argument.type = std::int32_t(values.size() < 4 ? values.size() : 4);
  std::memcpy(argument.value, values.begin(), std::size_t(argument.type) * sizeof(float));
  return argument;
}

KernelArgument integerArgument(const char* name, std::int32_t value) {
  KernelArgument argument;
  argument.name = name;
  argument.type = kArgumentInteger;
  std::memcpy(argument.value, &value, sizeof value);
  return argument;
}

float argumentFloat(const KernelArgument& argument, int index) {
  float value;
  std::memcpy(&value, argument.value + std::size_t(index) * sizeof(float), sizeof value);
  return value;
}

std::int32_t argumentInteger(const KernelArgument& argument) {
  std::int32_t value;
  std::memcpy(&value, argument.value, sizeof value);
  return value;
}

}  // namespace OZ::Image
