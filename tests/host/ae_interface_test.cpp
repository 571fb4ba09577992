// Checks that the project's declaration of the host interface carries the
// host's constant values and shapes. Record layouts are checked at compile
// time inside the header itself.
#include "host/ae/ae_interface.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

PF_Err entry_with_host_signature(PF_Cmd, PF_InData*, PF_OutData*,
                                 PF_ParamDef* [], PF_LayerDef*, void*) {
  return PF_Err_NONE;
}

std::string fourcc_in_memory(PF_PixelFormat format) {
  char bytes[4];
  std::memcpy(bytes, &format, sizeof bytes);
  return std::string(bytes, sizeof bytes);
}

TEST(AeInterface, CommandSelectorsHaveHostValues) {
  EXPECT_EQ(PF_Cmd_ABOUT, 0);
  EXPECT_EQ(PF_Cmd_GLOBAL_SETUP, 1);
  EXPECT_EQ(PF_Cmd_GLOBAL_SETDOWN, 3);
  EXPECT_EQ(PF_Cmd_PARAMS_SETUP, 4);
  EXPECT_EQ(PF_Cmd_SEQUENCE_SETUP, 5);
  EXPECT_EQ(PF_Cmd_SEQUENCE_SETDOWN, 8);
  EXPECT_EQ(PF_Cmd_FRAME_SETUP, 10);
  EXPECT_EQ(PF_Cmd_RENDER, 11);
  EXPECT_EQ(PF_Cmd_USER_CHANGED_PARAM, 13);
  EXPECT_EQ(PF_Cmd_UPDATE_PARAMS_UI, 14);
  EXPECT_EQ(PF_Cmd_QUERY_DYNAMIC_FLAGS, 18);
  EXPECT_EQ(PF_Cmd_ARBITRARY_CALLBACK, 22);
  EXPECT_EQ(PF_Cmd_SMART_PRE_RENDER, 23);
  EXPECT_EQ(PF_Cmd_SMART_RENDER, 24);
  EXPECT_EQ(PF_Cmd_GET_FLATTENED_SEQUENCE_DATA, 28);
  EXPECT_EQ(PF_Cmd_NUM_CMDS, 34);
}

TEST(AeInterface, ErrorCodesHaveHostValues) {
  EXPECT_EQ(PF_Err_NONE, 0);
  EXPECT_EQ(PF_Err_OUT_OF_MEMORY, 4);
  EXPECT_EQ(PF_Err_INTERNAL_STRUCT_DAMAGED, 512);
  EXPECT_EQ(PF_Err_INVALID_INDEX, 513);
  EXPECT_EQ(PF_Err_UNRECOGNIZED_PARAM_TYPE, 514);
  EXPECT_EQ(PF_Err_INVALID_CALLBACK, 515);
  EXPECT_EQ(PF_Err_BAD_CALLBACK_PARAM, 516);
  EXPECT_EQ(PF_Interrupt_CANCEL, 517);
  EXPECT_EQ(PF_Err_CANNOT_PARSE_KEYFRAME_TEXT, 518);
  EXPECT_EQ(A_Err_MISSING_SUITE, 13);
}

TEST(AeInterface, OutFlagsHaveHostBits) {
  EXPECT_EQ(PF_OutFlag_NON_PARAM_VARY, 0x4u);
  EXPECT_EQ(PF_OutFlag_USE_OUTPUT_EXTENT, 0x40u);
  EXPECT_EQ(PF_OutFlag_DISPLAY_ERROR_MESSAGE, 0x100u);
  EXPECT_EQ(PF_OutFlag_I_SHRINK_BUFFER, 0x1000u);
  EXPECT_EQ(PF_OutFlag_DEEP_COLOR_AWARE, 0x2000000u);
  EXPECT_EQ(PF_OutFlag_SEND_UPDATE_PARAMS_UI, 0x4000000u);
  EXPECT_EQ(PF_OutFlag_AUDIO_EFFECT_ONLY, 0x80000000u);
  EXPECT_EQ(PF_OutFlag2_SUPPORTS_QUERY_DYNAMIC_FLAGS, 0x1);
  EXPECT_EQ(PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG, 0x8);
  EXPECT_EQ(PF_OutFlag2_I_AM_THREADSAFE, 0x10);
  EXPECT_EQ(PF_OutFlag2_SUPPORTS_SMART_RENDER, 0x400);
  EXPECT_EQ(PF_OutFlag2_FLOAT_COLOR_AWARE, 0x1000);
  EXPECT_EQ(PF_OutFlag2_SUPPORTS_THREADED_RENDERING, 0x8000000);
}

TEST(AeInterface, ParameterConstantsHaveHostValues) {
  EXPECT_EQ(PF_Param_LAYER, 0);
  EXPECT_EQ(PF_Param_SLIDER, 1);
  EXPECT_EQ(PF_Param_CHECKBOX, 4);
  EXPECT_EQ(PF_Param_COLOR, 5);
  EXPECT_EQ(PF_Param_POPUP, 7);
  EXPECT_EQ(PF_Param_FLOAT_SLIDER, 10);
  EXPECT_EQ(PF_Param_ARBITRARY_DATA, 11);
  EXPECT_EQ(PF_Param_GROUP_START, 13);
  EXPECT_EQ(PF_Param_BUTTON, 15);
  EXPECT_EQ(PF_Param_POINT_3D, 18);
  EXPECT_EQ(PF_ParamFlag_SUPERVISE, 0x40u);
  EXPECT_EQ(PF_ParamFlag_START_COLLAPSED, PF_ParamFlag_COLLAPSE_TWIRLY);
  EXPECT_EQ(PF_PUI_DISABLED, 0x20);
  EXPECT_EQ(PF_PUI_INVISIBLE, 0x200);
  EXPECT_EQ(PF_Arbitrary_NEW_FUNC, 0);
  EXPECT_EQ(PF_Arbitrary_SCAN_FUNC, 10);
  EXPECT_EQ(PF_MAX_EFFECT_MSG_LEN, 255);
  EXPECT_EQ(PF_MAX_EFFECT_PARAM_NAME_LEN, 31);
}

TEST(AeInterface, WorldConstantsHaveHostValues) {
  EXPECT_EQ(PF_WorldFlag_DEEP, 1u);
  EXPECT_EQ(PF_WorldFlag_WRITEABLE, 2u);
  EXPECT_EQ(PF_NewWorldFlag_NONE, 0);
  EXPECT_EQ(PF_NewWorldFlag_CLEAR_PIXELS, 1);
  EXPECT_EQ(PF_NewWorldFlag_DEEP_PIXELS, 2);
  EXPECT_EQ(PF_Iterations_ONCE_PER_PROCESSOR, -1);
  EXPECT_EQ(PF_ChannelMask_ARGB, 0xF);
}

// The codes are stored so that their bytes spell the name in memory.
TEST(AeInterface, PixelFormatsSpellTheirNamesInMemory) {
  EXPECT_EQ(PF_PixelFormat_ARGB32, 0x62677261);
  EXPECT_EQ(fourcc_in_memory(PF_PixelFormat_ARGB32), "argb");
  EXPECT_EQ(fourcc_in_memory(PF_PixelFormat_ARGB64), "ae16");
  EXPECT_EQ(fourcc_in_memory(PF_PixelFormat_ARGB128), "ae32");
  EXPECT_EQ(fourcc_in_memory(PF_PixelFormat_BGRA32), "bgra");
  EXPECT_EQ(fourcc_in_memory(PF_PixelFormat_INVALID), "badf");
}

TEST(AeInterface, SuiteNamesAndVersionsHaveHostValues) {
  EXPECT_STREQ(kSPBasicSuite, "SP Basic Suite");
  EXPECT_STREQ(kPFWorldSuite, "PF World Suite");
  EXPECT_EQ(kPFWorldSuiteVersion2, 2);
  EXPECT_STREQ(kPFPixelFormatSuite, "PF Pixel Format Suite");
  EXPECT_EQ(kPFPixelFormatSuiteVersion1, 1);
  EXPECT_EQ(kPFPixelFormatSuiteVersion2, 2);
  EXPECT_STREQ(kPFParamUtilsSuite, "PF Param Utils Suite");
  EXPECT_EQ(kPFParamUtilsSuiteVersion1, 2);
  EXPECT_STREQ(kPFColorParamSuite, "PF ColorParamSuite");
  EXPECT_STREQ(kPFAngleParamSuite, "PF AngleParamSuite");
  EXPECT_STREQ(kAEGPRenderSuite, "AEGP Render Suite");
  EXPECT_STREQ(kAEGPLayerRenderOptionsSuite,
               "AEGP Layer Render Options Suite");
  EXPECT_STREQ(kPFUtilitySuite, "PF Utility Suite");
  EXPECT_STREQ(kPrSDKOpaqueEffectDataSuite, "Opaque Effect Data Suite");
  EXPECT_EQ(kPrSDKOpaqueEffectDataSuiteVersion2, 2);
}

TEST(AeInterface, EntryPointTypeMatchesTheHostSignature) {
  PF_FilterProc entry = &entry_with_host_signature;
  EXPECT_EQ(entry(PF_Cmd_ABOUT, nullptr, nullptr, nullptr, nullptr, nullptr),
            PF_Err_NONE);
  static_assert(std::is_same_v<PF_EffectWorld, PF_LayerDef>);
  static_assert(std::is_same_v<PF_UtilCallbacks, _PF_UtilCallbacks>);
  static_assert(std::is_same_v<PF_PixelFormatSuite1, PF_PixelFormatSuite>);
}

TEST(AeInterface, PointNamesShareTheirCoordinates) {
  static_assert(offsetof(PF_Point, x) == offsetof(PF_Point, h));
  static_assert(offsetof(PF_Point, y) == offsetof(PF_Point, v));
  PF_Point point{};
  point.h = 3;
  point.v = 4;
  A_long words[2];
  std::memcpy(words, &point, sizeof words);
  EXPECT_EQ(words[0], 3);
  EXPECT_EQ(words[1], 4);
}

TEST(AeInterface, InputVersionIsMajorThenMinor) {
  PF_InData in_data{};
  in_data.version.major = 13;
  in_data.version.minor = 29;
  A_short halves[2];
  std::memcpy(halves, &in_data.version, sizeof halves);
  EXPECT_EQ(halves[0], 13);
  EXPECT_EQ(halves[1], 29);
}

}  // namespace
