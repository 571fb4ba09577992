// The full desaturation built with SSSE3 instructions.
#include "image/filters/desaturation_block.h"

namespace OZ::Image {

#define OZ_DESATURATION_SSSE3_ENTRY(Layout) OZ_DESATURATION_LEVEL_ENTRY(SSSE3Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_DESATURATION_SSSE3_ENTRY)

}  // namespace OZ::Image
