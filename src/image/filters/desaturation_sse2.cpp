// The full desaturation built with SSE2 instructions.
#include "image/filters/desaturation_block.h"

namespace OZ::Image {

#define OZ_DESATURATION_SSE2_ENTRY(Layout) OZ_DESATURATION_LEVEL_ENTRY(SSE2Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_DESATURATION_SSE2_ENTRY)

}  // namespace OZ::Image
