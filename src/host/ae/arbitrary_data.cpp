// PF_Cmd_ARBITRARY_CALLBACK: the host's questions about the data of the
// string parameters. A handle holds the text and its terminating zero, and
// that is also the flat form a project saves: no header, no version, no
// length. Two kinds of handle lack the zero: a new one, which is empty, and
// a scanned one, which holds the scanned bytes as they came.

#include <cstring>

#include "host/ae/host.h"

namespace OZ::Host::AE {
namespace {

constexpr std::uintptr_t kArbitraryRefconTag = 0x1000;

// A handle locked for the length of a scope.
class Locked {
 public:
  Locked(Host& host, PF_Handle handle) : host_(host), handle_(handle) {
    bytes_ = handle ? static_cast<char*>(host.lockHandle(handle)) : nullptr;
  }
  ~Locked() {
    if (bytes_) host_.unlockHandle(handle_);
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;
  char* bytes() const { return bytes_; }

 private:
  Host& host_;
  PF_Handle handle_;
  char* bytes_;
};

// A new handle holding `size` bytes from `source` (zeros when null); null
// in `made` when the host gives none. 514 when it cannot be locked.
PF_Err newHandleWith(Host& host, std::uint64_t size, const void* source, PF_Handle& made) {
  made = host.newHandle(size);
  if (!made) return PF_Err_OUT_OF_MEMORY;
  if (size == 0) return PF_Err_NONE;
  Locked target(host, made);
  if (!target.bytes()) {
    host.disposeHandle(made);
    made = nullptr;
    return PF_Err_UNRECOGNIZED_PARAM_TYPE;
  }
  if (source)
    std::memcpy(target.bytes(), source, std::size_t(size));
  else
    std::memset(target.bytes(), 0, std::size_t(size));
  return PF_Err_NONE;
}

// A copy of `source`'s bytes in a new handle.
PF_Err copyHandle(Host& host, PF_Handle source, PF_Handle& made) {
  made = nullptr;
  const std::uint64_t size = host.handleSize(source);
  Locked from(host, source);
  if (!from.bytes()) return PF_Err_UNRECOGNIZED_PARAM_TYPE;
  return newHandleWith(host, size, from.bytes(), made);
}

// The text of a handle: up to its zero, or its whole size.
std::size_t textLength(Host& host, PF_Handle handle, const char* bytes) {
  return ::strnlen(bytes, std::size_t(host.handleSize(handle)));
}

}  // namespace

PF_Err Host::arbitraryCallback() {
  auto& call = *static_cast<PF_ArbParamsExtra*>(extra);
  if (call.which_function > PF_Arbitrary_SCAN_FUNC || call.which_function < PF_Arbitrary_NEW_FUNC) return PF_Err_NONE;
  // Every variant of the union starts with the refcon the definition gave.
  const auto refcon = reinterpret_cast<std::uintptr_t>(call.u.new_func_params.refconPV);
  if ((refcon & ~std::uintptr_t(0xfff)) != kArbitraryRefconTag) return PF_Err_UNRECOGNIZED_PARAM_TYPE;

  switch (call.which_function) {
    case PF_Arbitrary_NEW_FUNC: {
      PF_Handle made = newHandle(0);
      *call.u.new_func_params.arbPH = made;
      return made ? PF_Err_NONE : PF_Err_OUT_OF_MEMORY;
    }
    case PF_Arbitrary_DISPOSE_FUNC:
      if (call.u.dispose_func_params.arbH) disposeHandle(call.u.dispose_func_params.arbH);
      return PF_Err_NONE;
    case PF_Arbitrary_COPY_FUNC: {
      auto& copy = call.u.copy_func_params;
      PF_Handle made = nullptr;
      // With nothing to copy, the empty string.
      const PF_Err error = copy.src_arbH ? copyHandle(*this, copy.src_arbH, made) : newHandleWith(*this, 1, nullptr, made);
      if (error == PF_Err_NONE) *copy.dst_arbPH = made;
      return error;
    }
    case PF_Arbitrary_FLAT_SIZE_FUNC: {
      auto& flat = call.u.flat_size_func_params;
      *flat.flat_data_sizePLu = flat.arbH ? A_u_long(handleSize(flat.arbH)) : 0;
      return PF_Err_NONE;
    }
    case PF_Arbitrary_FLATTEN_FUNC: {
      auto& flat = call.u.flatten_func_params;
      if (!flat.arbH) return PF_Err_NONE;
      const std::uint64_t size = handleSize(flat.arbH);
      Locked from(*this, flat.arbH);
      if (!from.bytes()) return PF_Err_UNRECOGNIZED_PARAM_TYPE;
      std::memcpy(flat.flat_dataPV, from.bytes(), std::size_t(size < flat.buf_sizeLu ? size : flat.buf_sizeLu));
      return PF_Err_NONE;
    }
    case PF_Arbitrary_UNFLATTEN_FUNC: {
      auto& flat = call.u.unflatten_func_params;
      PF_Handle made = nullptr;
      const PF_Err error = newHandleWith(*this, flat.buf_sizeLu, flat.flat_dataPV, made);
      if (error == PF_Err_NONE) *flat.arbPH = made;
      return error;
    }
    case PF_Arbitrary_INTERP_FUNC: {
      // Text does not interpolate: the left keyframe holds until the next.
      auto& interp = call.u.interp_func_params;
      if (!interp.left_arbH) return PF_Err_NONE;
      PF_Handle made = nullptr;
      const PF_Err error = copyHandle(*this, interp.left_arbH, made);
      if (error == PF_Err_OUT_OF_MEMORY) return PF_Err_NONE;
      if (error == PF_Err_NONE) *interp.interpPH = made;
      return error;
    }
    case PF_Arbitrary_COMPARE_FUNC: {
      auto& compare = call.u.compare_func_params;
      *compare.compareP = PF_ArbCompare_EQUAL;
      if (!compare.a_arbH || !compare.b_arbH) return PF_Err_NONE;
      Locked a(*this, compare.a_arbH), b(*this, compare.b_arbH);
      if (!a.bytes() || !b.bytes()) return PF_Err_UNRECOGNIZED_PARAM_TYPE;
      const std::size_t lengthA = textLength(*this, compare.a_arbH, a.bytes());
      const std::size_t lengthB = textLength(*this, compare.b_arbH, b.bytes());
      const std::size_t common = lengthA < lengthB ? lengthA : lengthB;
      int order = std::memcmp(a.bytes(), b.bytes(), common);
      if (order == 0) order = lengthA < lengthB ? -1 : lengthA > lengthB ? 1 : 0;
      if (order < 0) *compare.compareP = PF_ArbCompare_LESS;
      if (order > 0) *compare.compareP = PF_ArbCompare_MORE;
      return PF_Err_NONE;
    }
    case PF_Arbitrary_PRINT_SIZE_FUNC: {
      auto& print = call.u.print_size_func_params;
      *print.print_sizePLu = print.arbH ? A_u_long(handleSize(print.arbH) + 1) : 1;
      return PF_Err_NONE;
    }
    case PF_Arbitrary_PRINT_FUNC: {
      auto& print = call.u.print_func_params;
      if (print.print_sizeLu == 0) return PF_Err_NONE;
      std::memset(print.print_bufferPC, 0, print.print_sizeLu);
      if (!print.arbH) return PF_Err_NONE;
      const std::uint64_t size = handleSize(print.arbH);
      Locked from(*this, print.arbH);
      if (!from.bytes()) return PF_Err_UNRECOGNIZED_PARAM_TYPE;
      const std::uint64_t room = print.print_sizeLu - 1;  // the zero stays
      std::memcpy(print.print_bufferPC, from.bytes(), std::size_t(size < room ? size : room));
      return PF_Err_NONE;
    }
    case PF_Arbitrary_SCAN_FUNC: {
      auto& scan = call.u.scan_func_params;
      const std::size_t length = ::strnlen(scan.bufPC, scan.bytes_to_scanLu);
      PF_Handle made = nullptr;
      const PF_Err error = newHandleWith(*this, length, scan.bufPC, made);
      if (error == PF_Err_NONE) *scan.arbPH = made;
      return error;
    }
    default:
      return PF_Err_NONE;
  }
}

}  // namespace OZ::Host::AE
