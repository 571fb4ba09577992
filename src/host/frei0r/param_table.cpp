#include "host/frei0r/param_table.h"

extern "C" {
#include <frei0r.h>
}

namespace OZ::Host::Frei0r {

std::vector<ParamEntry> describeControls(const OZ::Host::Param::Parameters& store,
                                         const std::vector<std::string>& explanations) {
  std::vector<ParamEntry> entries;
  for (std::size_t index = 0; index < store.records.size(); ++index) {
    const OZ::Host::Param::ParamRecord& record = store.records[index];
    int type;
    if (record.kind == OZ::Host::Param::kFloat)
      type = F0R_PARAM_DOUBLE;
    else if (record.kind == OZ::Host::Param::kBool)
      type = F0R_PARAM_BOOL;
    else
      continue;
    entries.push_back({int(index), type, record.name, index < explanations.size() ? explanations[index] : ""});
  }
  return entries;
}

}  // namespace OZ::Host::Frei0r
