#pragma once
// Where the records of a store sit in the host's parameter list. The input
// layer is index 0 and the effect's parameters follow; a record's index is
// worked out from the records before it every time, never stored.

#include <cstddef>
#include <cstdint>

#include "host/ae/ae_interface.h"
#include "host/param/parameters.h"

namespace OZ::Host::AE {

// How many host parameters the record takes: 0 for kNone and kReserved
// without kSupervise, 2 for kStringChoice (its text and its popup), 1
// otherwise. Records the effect left out and unknown kinds count 1 each,
// so a store that has either is out of step with the host.
std::int32_t hostParamCount(const OZ::Host::Param::ParamRecord& record);

// The host index of the record at `position`; positions past the last
// record count one index each.
PF_ParamIndex hostIndexOf(const OZ::Host::Param::Parameters& store, std::size_t position);

// The record that owns host index `index`: both indexes of a kStringChoice
// lead to it. Past the last record the position goes on by one per index;
// an index of 0 or below gives position 0.
std::size_t recordAtHostIndex(const OZ::Host::Param::Parameters& store, PF_ParamIndex index);

}  // namespace OZ::Host::AE
