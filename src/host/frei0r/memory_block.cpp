#include "host/frei0r/memory_block.h"

#include <cstddef>
#include <limits>
#include <new>

namespace OZ::Host::Frei0r {

MemoryBlock* newMemoryBlock(std::uint64_t size) {
  if (size > std::numeric_limits<std::size_t>::max()) return nullptr;
  MemoryBlock* block = new (std::nothrow) MemoryBlock;
  if (!block) return nullptr;
  block->size = size;
  block->bytes = static_cast<unsigned char*>(::operator new[](std::size_t(size), std::nothrow));
  if (!block->bytes && size != 0) {
    delete block;
    return nullptr;
  }
  return block;
}

void disposeMemoryBlock(MemoryBlock* block) {
  if (!block) return;
  ::operator delete[](block->bytes);
  delete block;
}

}  // namespace OZ::Host::Frei0r
