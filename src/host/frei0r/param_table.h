#pragma once
// The store's controls as a frei0r host sees them: a number, a name, a type
// and an explanation each. Float controls are frei0r doubles and check boxes
// frei0r booleans; both cross the boundary as the control's own value, not
// scaled to 0..1. Records of other kinds are not offered.

#include <string>
#include <vector>

#include "host/param/parameters.h"

namespace OZ::Host::Frei0r {

struct ParamEntry {
  int storeIndex;  // the record's position in the store
  int type;        // F0R_PARAM_DOUBLE or F0R_PARAM_BOOL
  std::string name;
  std::string explanation;
};

// The entries in frei0r's order, which is the store's. `explanations` holds
// one text per store record; a missing one is empty.
std::vector<ParamEntry> describeControls(const OZ::Host::Param::Parameters& store,
                                         const std::vector<std::string>& explanations);

}  // namespace OZ::Host::Frei0r
