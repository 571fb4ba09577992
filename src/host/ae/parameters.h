#pragma once
// The store as the After Effects adapter makes it: the same records, tied to
// the adapter that made it, which a copy shares.

#include "host/param/parameters.h"

namespace OZ::Host::AE {

class Host;

class Parameters : public ::OZ::Host::Param::Parameters {
 public:
  explicit Parameters(Host* madeBy) : host(madeBy) {}
  Parameters(const Parameters& other) = default;
  // Takes the other store's records; stays tied to its own adapter.
  Parameters& operator=(const Parameters& other) {
    if (this != &other) assign(other);
    return *this;
  }

  Host* host;  // not owned
};

}  // namespace OZ::Host::AE
