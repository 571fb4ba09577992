#include "host/ae/param_index.h"

namespace OZ::Host::AE {

using namespace OZ::Host::Param;

std::int32_t hostParamCount(const ParamRecord& record) {
  switch (record.kind) {
    case kNone:
    case kReserved:
      return record.flags & kSupervise ? 1 : 0;
    case kStringChoice:
      return 2;
    default:
      return 1;
  }
}

PF_ParamIndex hostIndexOf(const Parameters& store, std::size_t position) {
  PF_ParamIndex index = 1;
  for (std::size_t q = 0; q < position; ++q) {
    if (q >= store.records.size()) return index + PF_ParamIndex(position - q);
    index += hostParamCount(store.records[q]);
  }
  return index;
}

std::size_t recordAtHostIndex(const Parameters& store, PF_ParamIndex index) {
  if (index <= 0) return 0;
  PF_ParamIndex start = 1;
  std::size_t position = 0;
  for (;; ++position) {
    const std::int32_t count = position < store.records.size() ? hostParamCount(store.records[position]) : 1;
    if (start + count > index) return position;
    start += count;
  }
}

}  // namespace OZ::Host::AE
