// The HSVCC kernels built with SSSE3 instructions.
#include "image/filters/hsvcc_block.h"

namespace OZ::Image {

#define OZ_HSVCC_SSSE3_ENTRY(Layout) OZ_HSVCC_LEVEL_ENTRY(SSSE3Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_HSVCC_SSSE3_ENTRY)

}  // namespace OZ::Image
