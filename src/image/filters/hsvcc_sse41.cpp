// The HSVCC kernels built with SSE4.1 instructions.
#include "image/filters/hsvcc_block.h"

namespace OZ::Image {

#define OZ_HSVCC_SSE41_ENTRY(Layout) OZ_HSVCC_LEVEL_ENTRY(SSE41Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_HSVCC_SSE41_ENTRY)

}  // namespace OZ::Image
