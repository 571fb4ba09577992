#include "standin/processor_capabilities.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/cpu_features.h"

#if !defined(__APPLE__)

namespace StandIn {
namespace {

std::atomic<OZ::Image::ProcessorFlags> reportedMask{~OZ::Image::ProcessorFlags(0)};

// The bits one key sets in the flag word: the word of a machine that has
// that key alone.
thread_local const char* onlyKey = nullptr;
int onlyThisKey(const char* key, std::int32_t& value) {
  value = std::strcmp(key, onlyKey) == 0 ? 1 : 0;
  return 0;
}

OZ::Image::ProcessorFlags bitsOfKey(const char* key) {
  onlyKey = key;
  return OZ::Image::buildProcessorFlags(onlyThisKey);
}

}  // namespace

bool restrictReportedProcessor(OZ::Image::ProcessorFlags mask) {
  reportedMask.store(mask, std::memory_order_relaxed);
  return true;
}

}  // namespace StandIn

// Answers the capability keys as macOS does: a 32-bit value, 0 on success,
// -1 with ENOENT for a key it does not know. Nothing can be set.
extern "C" __attribute__((visibility("default"))) int sysctlbyname(const char* name, void* value, std::size_t* size,
                                                                  const void* newValue, std::size_t) {
  std::int32_t answer = 0;
  if (newValue || !name || Platform::queryProcessorCapability(name, answer) != 0) {
    errno = newValue ? EPERM : ENOENT;
    return -1;
  }
  if (!value || !size || *size < sizeof answer) {
    errno = ENOMEM;
    return -1;
  }
  const OZ::Image::ProcessorFlags mask = StandIn::reportedMask.load(std::memory_order_relaxed);
  if (answer != 0 && (StandIn::bitsOfKey(name) & ~mask) != 0) answer = 0;
  std::memcpy(value, &answer, sizeof answer);
  *size = sizeof answer;
  return 0;
}

#else

namespace StandIn {

// The system answers on macOS; a process-wide interposition would be needed
// to hold a loaded plug-in to a lower level there.
bool restrictReportedProcessor(OZ::Image::ProcessorFlags mask) { return mask == ~OZ::Image::ProcessorFlags(0); }

}  // namespace StandIn

#endif
