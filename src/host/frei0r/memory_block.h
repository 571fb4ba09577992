#pragma once
// Memory the image records ask the host for, here from the C++ allocator:
// a handle is a block that knows its size.

#include <cstdint>

namespace OZ::Host::Frei0r {

struct MemoryBlock {
  std::uint64_t size = 0;
  unsigned char* bytes = nullptr;
};

// Null when the allocator refuses.
MemoryBlock* newMemoryBlock(std::uint64_t size);
void disposeMemoryBlock(MemoryBlock* block);

}  // namespace OZ::Host::Frei0r
