// The HSVCC kernels built with SSE2 instructions.
#include "image/filters/hsvcc_block.h"

namespace OZ::Image {

#define OZ_HSVCC_SSE2_ENTRY(Layout) OZ_HSVCC_LEVEL_ENTRY(SSE2Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_HSVCC_SSE2_ENTRY)

}  // namespace OZ::Image
