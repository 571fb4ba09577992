// The project's own declaration of the published plug-in interface of the
// host (Adobe After Effects effects, with the Premiere Pro additions an
// effect may meet): types, records, callbacks, suites and constants, with
// the host's names, field order and types, so that the plug-in and the
// stand-in host are binary compatible with it. Written from the published
// documentation; everything stays in the global namespace under the
// host's names. Calls use the platform's default C calling convention.
//
// The declaration is split by subject; include this file only.
#ifndef OZ_HOST_AE_AE_INTERFACE_H
#define OZ_HOST_AE_AE_INTERFACE_H

#include "ae_interface_types.h"
#include "ae_interface_params.h"
#include "ae_interface_calls.h"
#include "ae_interface_suites.h"
#include "ae_interface_layout.h"

#endif  // OZ_HOST_AE_AE_INTERFACE_H
