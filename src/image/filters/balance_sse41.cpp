// The SSE4.1 levels kernels: the SSE2 arithmetic with widening loads and
// the unsigned 16-bit pack (see VectorPixels).
#include "image/filters/balance_kernel.h"

namespace OZ::Image {

#define OZ_BALANCE_SSE41(Layout) OZ_BALANCE_LEVEL_VARIANTS(SSE41Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_BALANCE_SSE41)
#undef OZ_BALANCE_SSE41

}  // namespace OZ::Image
