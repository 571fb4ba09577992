// The blend kernels built with SSSE3 instructions: 41 modes in six layouts.
#include "image/blend/blend_vector.h"

namespace OZ::Image {

#define OZ_BLEND_SSSE3(Layout) OZ_BLEND_LEVEL_ENTRY(SSSE3Level, Layout)
OZ_FOR_EACH_LAYOUT(OZ_BLEND_SSSE3)
#undef OZ_BLEND_SSSE3

}  // namespace OZ::Image
