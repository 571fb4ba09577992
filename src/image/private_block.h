#pragma once
// Memory only the plug-in sees, taken from the host's handles so that the
// host counts it: image blocks and the blur's scratch lines. Every handle
// call runs under the Host's mutex, as any thread may allocate.

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>

namespace OZ::Image {

template <class Host>
struct PrivateBlock {
  typename Host::Handle handle = nullptr;
  unsigned char* base = nullptr;  // the locked handle's own address
  unsigned char* data = nullptr;  // aligned up to 32 bytes
};

// A block of at least `bytes` usable bytes from data on. When the host
// refuses, the process's new-handler gets a chance to free memory, as
// operator new would, and the request is tried again; with no handler,
// std::bad_alloc.
template <class Host>
PrivateBlock<Host> acquirePrivateBlock(Host& host, std::size_t bytes) {
  std::lock_guard<std::mutex> guard(host.lock);
  for (;;) {
    PrivateBlock<Host> block;
    block.handle = host.newHandle((bytes + 63) & ~std::size_t(31));
    void* base = block.handle ? host.lockHandle(block.handle) : nullptr;
    if (base) {
      block.base = static_cast<unsigned char*>(base);
      block.data = reinterpret_cast<unsigned char*>((reinterpret_cast<std::uintptr_t>(base) + 31) & ~std::uintptr_t(31));
      return block;
    }
    if (block.handle) host.disposeHandle(block.handle);
    const std::new_handler handler = std::get_new_handler();
    if (!handler) throw std::bad_alloc();
    handler();
  }
}

template <class Host>
void releasePrivateBlock(Host& host, std::mutex& lock, typename Host::Handle handle) {
  std::lock_guard<std::mutex> guard(lock);
  host.disposeHandle(handle);
}

// A private block for the length of a scope.
template <class Host>
class ScopedPrivateBlock {
 public:
  ScopedPrivateBlock(Host& host, std::size_t bytes) : host_(host), block_(acquirePrivateBlock(host, bytes)) {}
  ~ScopedPrivateBlock() { releasePrivateBlock(host_, host_.lock, block_.handle); }
  ScopedPrivateBlock(const ScopedPrivateBlock&) = delete;
  ScopedPrivateBlock& operator=(const ScopedPrivateBlock&) = delete;
  unsigned char* data() const { return block_.data; }

 private:
  Host& host_;
  PrivateBlock<Host> block_;
};

}  // namespace OZ::Image
