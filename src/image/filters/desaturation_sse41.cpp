// The full desaturation built with SSE4.1 instructions.
#include "image/filters/desaturation_block.h"

namespace OZ::Image {

#define OZ_DESATURATION_SSE41_ENTRY(Layout) OZ_DESATURATION_LEVEL_ENTRY(SSE41Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_DESATURATION_SSE41_ENTRY)

}  // namespace OZ::Image
