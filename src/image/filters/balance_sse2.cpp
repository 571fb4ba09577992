// The SSE2 levels kernels: all six layouts, four variants each.
#include "image/filters/balance_kernel.h"

namespace OZ::Image {

#define OZ_BALANCE_SSE2(Layout) OZ_BALANCE_LEVEL_VARIANTS(SSE2Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_BALANCE_SSE2)
#undef OZ_BALANCE_SSE2

}  // namespace OZ::Image
