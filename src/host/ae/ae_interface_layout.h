// Compile-time checks that the records keep the host's binary layout.
// One piece of the declaration gathered by ae_interface.h.
//
// The published 64-bit bindings mark no packing on these records (they do
// on some unrelated ones), so they take the natural C layout, and the
// figures below follow from the field lists. Records without pointers or
// doubles lay out alike on every target with 4-byte int alignment and are
// checked everywhere; the rest are checked on x86-64, the LP64 layout the
// host uses. No 32-bit figures are published, so i386 gets only the first
// group.
#ifndef OZ_HOST_AE_AE_INTERFACE_LAYOUT_H
#define OZ_HOST_AE_AE_INTERFACE_LAYOUT_H

#include "ae_interface_suites.h"

// ---------------------------------------------------------------------------
// Every target.

static_assert(sizeof(A_Time) == 8);
static_assert(sizeof(A_LRect) == 16);
static_assert(sizeof(PF_SpecVersion) == 4);
static_assert(offsetof(PF_SpecVersion, major) == 0);
static_assert(offsetof(PF_SpecVersion, minor) == 2);
static_assert(sizeof(PF_Point) == 8);
static_assert(offsetof(PF_Point, h) == 0);
static_assert(offsetof(PF_Point, v) == 4);
static_assert(sizeof(PF_LRect) == 16);
static_assert(offsetof(PF_LRect, left) == 0);
static_assert(offsetof(PF_LRect, top) == 4);
static_assert(offsetof(PF_LRect, right) == 8);
static_assert(offsetof(PF_LRect, bottom) == 12);
static_assert(sizeof(PF_RationalScale) == 8);
static_assert(sizeof(PF_Pixel) == 4);
static_assert(offsetof(PF_Pixel, alpha) == 0);
static_assert(offsetof(PF_Pixel, red) == 1);
static_assert(offsetof(PF_Pixel, green) == 2);
static_assert(offsetof(PF_Pixel, blue) == 3);
static_assert(sizeof(PF_Pixel16) == 8);
static_assert(offsetof(PF_Pixel16, blue) == 6);
static_assert(sizeof(PF_PixelFloat) == 16);
static_assert(offsetof(PF_PixelFloat, blue) == 12);
static_assert(sizeof(PF_CompositeMode) == 12);
static_assert(sizeof(PF_SliderDef) == 88);
static_assert(offsetof(PF_SliderDef, valid_min) == 68);
static_assert(offsetof(PF_SliderDef, dephault) == 84);
static_assert(sizeof(PF_FixedSliderDef) == 92);
static_assert(offsetof(PF_FixedSliderDef, precision) == 88);
static_assert(offsetof(PF_FixedSliderDef, display_flags) == 90);
static_assert(sizeof(PF_AngleDef) == 16);
static_assert(sizeof(PF_ColorDef) == 8);
static_assert(sizeof(PF_PointDef) == 20);
static_assert(offsetof(PF_PointDef, restrict_bounds) == 11);
static_assert(offsetof(PF_PointDef, x_dephault) == 12);
static_assert(sizeof(PF_PathDef) == 12);
static_assert(sizeof(PF_UserChangedParamExtra) == 4);
static_assert(sizeof(PF_RenderRequest) == 44);
static_assert(offsetof(PF_RenderRequest, field) == 16);
static_assert(offsetof(PF_RenderRequest, channel_mask) == 20);
static_assert(offsetof(PF_RenderRequest, preserve_rgb_of_zero_alpha) == 24);
static_assert(offsetof(PF_RenderRequest, reserved) == 28);
static_assert(sizeof(PF_CheckoutResult) == 76);
static_assert(offsetof(PF_CheckoutResult, max_result_rect) == 16);
static_assert(offsetof(PF_CheckoutResult, par) == 32);
static_assert(offsetof(PF_CheckoutResult, solid) == 40);
static_assert(offsetof(PF_CheckoutResult, ref_width) == 44);
static_assert(offsetof(PF_CheckoutResult, ref_height) == 48);
static_assert(offsetof(PF_CheckoutResult, reserved) == 52);
static_assert(sizeof(PF_CustomUIInfo) == 44);
static_assert(sizeof(PF_State) == 16);

// ---------------------------------------------------------------------------
// x86-64.

#if defined(__x86_64__)

static_assert(sizeof(void*) == 8 && sizeof(A_HandleSize) == 8);

static_assert(sizeof(PF_LayerDef) == 120 && alignof(PF_LayerDef) == 8);
static_assert(offsetof(PF_LayerDef, reserved1) == 8);
static_assert(offsetof(PF_LayerDef, world_flags) == 16);
static_assert(offsetof(PF_LayerDef, data) == 24);
static_assert(offsetof(PF_LayerDef, rowbytes) == 32);
static_assert(offsetof(PF_LayerDef, width) == 36);
static_assert(offsetof(PF_LayerDef, height) == 40);
static_assert(offsetof(PF_LayerDef, extent_hint) == 44);
static_assert(offsetof(PF_LayerDef, platform_ref) == 64);
static_assert(offsetof(PF_LayerDef, reserved_long1) == 72);
static_assert(offsetof(PF_LayerDef, reserved_long4) == 80);
static_assert(offsetof(PF_LayerDef, pix_aspect_ratio) == 88);
static_assert(offsetof(PF_LayerDef, reserved_long2) == 96);
static_assert(offsetof(PF_LayerDef, origin_x) == 104);
static_assert(offsetof(PF_LayerDef, origin_y) == 108);
static_assert(offsetof(PF_LayerDef, reserved_long3) == 112);
static_assert(offsetof(PF_LayerDef, dephault) == 116);

static_assert(sizeof(PF_MaskWorld) == 136);
static_assert(offsetof(PF_MaskWorld, offset) == 120);
static_assert(offsetof(PF_MaskWorld, what_is_mask) == 128);

static_assert(sizeof(PF_SoundFormatInfo) == 16);
static_assert(offsetof(PF_SoundFormatInfo, num_channels) == 8);
static_assert(offsetof(PF_SoundFormatInfo, sample_size) == 12);
static_assert(sizeof(PF_SoundWorld) == 32);
static_assert(offsetof(PF_SoundWorld, num_samples) == 16);
static_assert(offsetof(PF_SoundWorld, dataP) == 24);

static_assert(sizeof(PF_FloatSliderDef) == 88);
static_assert(offsetof(PF_FloatSliderDef, phase) == 8);
static_assert(offsetof(PF_FloatSliderDef, value_desc) == 16);
static_assert(offsetof(PF_FloatSliderDef, valid_min) == 48);
static_assert(offsetof(PF_FloatSliderDef, dephault) == 64);
static_assert(offsetof(PF_FloatSliderDef, precision) == 68);
static_assert(offsetof(PF_FloatSliderDef, display_flags) == 70);
static_assert(offsetof(PF_FloatSliderDef, fs_flags) == 72);
static_assert(offsetof(PF_FloatSliderDef, curve_tolerance) == 76);
static_assert(offsetof(PF_FloatSliderDef, useExponent) == 80);
static_assert(offsetof(PF_FloatSliderDef, exponent) == 84);
static_assert(sizeof(PF_CheckBoxDef) == 16);
static_assert(offsetof(PF_CheckBoxDef, dephault) == 4);
static_assert(offsetof(PF_CheckBoxDef, reserved1) == 6);
static_assert(offsetof(PF_CheckBoxDef, u) == 8);
static_assert(sizeof(PF_Point3DDef) == 64);
static_assert(offsetof(PF_Point3DDef, reserved) == 48);
static_assert(sizeof(PF_PopupDef) == 16);
static_assert(offsetof(PF_PopupDef, num_choices) == 4);
static_assert(offsetof(PF_PopupDef, dephault) == 6);
static_assert(offsetof(PF_PopupDef, u) == 8);
static_assert(sizeof(PF_ButtonDef) == 16);
static_assert(offsetof(PF_ButtonDef, u) == 8);
static_assert(sizeof(PF_ArbitraryDef) == 32);
static_assert(offsetof(PF_ArbitraryDef, dephault) == 8);
static_assert(offsetof(PF_ArbitraryDef, value) == 16);
static_assert(offsetof(PF_ArbitraryDef, refconPV) == 24);
static_assert(sizeof(PF_ParamDefUnion) == 120);

static_assert(sizeof(PF_ParamDef) == 176);
static_assert(offsetof(PF_ParamDef, ui_flags) == 4);
static_assert(offsetof(PF_ParamDef, ui_width) == 8);
static_assert(offsetof(PF_ParamDef, ui_height) == 10);
static_assert(offsetof(PF_ParamDef, param_type) == 12);
static_assert(offsetof(PF_ParamDef, name) == 16);
static_assert(offsetof(PF_ParamDef, flags) == 48);
static_assert(offsetof(PF_ParamDef, unused) == 52);
static_assert(offsetof(PF_ParamDef, u) == 56);

static_assert(sizeof(PF_ArbParamsExtra) == 48);
static_assert(offsetof(PF_ArbParamsExtra, id) == 4);
static_assert(offsetof(PF_ArbParamsExtra, u) == 8);
static_assert(sizeof(PF_ExtDependenciesExtra) == 16);

static_assert(sizeof(PF_InteractCallbacks) == 176);
static_assert(offsetof(PF_InteractCallbacks, checkin_param) == 8);
static_assert(offsetof(PF_InteractCallbacks, add_param) == 16);
static_assert(offsetof(PF_InteractCallbacks, abort) == 24);
static_assert(offsetof(PF_InteractCallbacks, progress) == 32);
static_assert(offsetof(PF_InteractCallbacks, register_ui) == 40);
static_assert(offsetof(PF_InteractCallbacks, get_audio_data) == 64);
static_assert(offsetof(PF_InteractCallbacks, reserved_str) == 72);
static_assert(offsetof(PF_InteractCallbacks, reserved) == 96);

static_assert(sizeof(PF_SampPB) == 104);
static_assert(offsetof(PF_SampPB, src) == 16);
static_assert(offsetof(PF_SampPB, comp_mode) == 36);
static_assert(offsetof(PF_SampPB, mask0) == 48);
static_assert(offsetof(PF_SampPB, reserved) == 72);

static_assert(sizeof(PF_ANSICallbacksBlock) == 160);
static_assert(offsetof(PF_ANSICallbacksBlock, sprintf) == 120);
static_assert(offsetof(PF_ANSICallbacksBlock, strcpy) == 128);
static_assert(offsetof(PF_ANSICallbacksBlock, acos) == 144);
static_assert(offsetof(PF_ANSICallbacksBlock, unused_longA) == 152);
static_assert(sizeof(PF_ColorCallbacks) == 64);

static_assert(sizeof(PF_UtilCallbacks) == 552);
static_assert(offsetof(PF_UtilCallbacks, get_batch_func_is_deprecated) == 24);
static_assert(offsetof(PF_UtilCallbacks, copy) == 64);
static_assert(offsetof(PF_UtilCallbacks, fill) == 72);
static_assert(offsetof(PF_UtilCallbacks, iterate) == 88);
static_assert(offsetof(PF_UtilCallbacks, new_world) == 112);
static_assert(offsetof(PF_UtilCallbacks, dispose_world) == 120);
static_assert(offsetof(PF_UtilCallbacks, host_new_handle) == 160);
static_assert(offsetof(PF_UtilCallbacks, host_lock_handle) == 168);
static_assert(offsetof(PF_UtilCallbacks, host_unlock_handle) == 176);
static_assert(offsetof(PF_UtilCallbacks, host_dispose_handle) == 184);
static_assert(offsetof(PF_UtilCallbacks, get_callback_addr) == 192);
static_assert(offsetof(PF_UtilCallbacks, app) == 200);
static_assert(offsetof(PF_UtilCallbacks, ansi) == 208);
static_assert(offsetof(PF_UtilCallbacks, colorCB) == 368);
static_assert(offsetof(PF_UtilCallbacks, get_platform_data) == 432);
static_assert(offsetof(PF_UtilCallbacks, host_get_handle_size) == 440);
static_assert(offsetof(PF_UtilCallbacks, iterate_generic) == 456);
static_assert(offsetof(PF_UtilCallbacks, host_resize_handle) == 464);
static_assert(offsetof(PF_UtilCallbacks, iterate16) == 504);
static_assert(offsetof(PF_UtilCallbacks, get_pixel_data16) == 536);
static_assert(offsetof(PF_UtilCallbacks, reserved) == 544);

static_assert(sizeof(PF_OutData) == 408);
static_assert(offsetof(PF_OutData, name) == 4);
static_assert(offsetof(PF_OutData, global_data) == 40);
static_assert(offsetof(PF_OutData, num_params) == 48);
static_assert(offsetof(PF_OutData, sequence_data) == 56);
static_assert(offsetof(PF_OutData, flat_sdata_size) == 64);
static_assert(offsetof(PF_OutData, frame_data) == 72);
static_assert(offsetof(PF_OutData, width) == 80);
static_assert(offsetof(PF_OutData, height) == 84);
static_assert(offsetof(PF_OutData, origin) == 88);
static_assert(offsetof(PF_OutData, out_flags) == 96);
static_assert(offsetof(PF_OutData, return_msg) == 100);
static_assert(offsetof(PF_OutData, start_sampL) == 356);
static_assert(offsetof(PF_OutData, dur_sampL) == 360);
static_assert(offsetof(PF_OutData, dest_snd) == 368);
static_assert(offsetof(PF_OutData, out_flags2) == 400);

static_assert(sizeof(PF_InData) == 408);
static_assert(offsetof(PF_InData, utils) == 176);
static_assert(offsetof(PF_InData, effect_ref) == 184);
static_assert(offsetof(PF_InData, quality) == 192);
static_assert(offsetof(PF_InData, version) == 196);
static_assert(offsetof(PF_InData, serial_num) == 200);
static_assert(offsetof(PF_InData, appl_id) == 204);
static_assert(offsetof(PF_InData, num_params) == 208);
static_assert(offsetof(PF_InData, current_time) == 224);
static_assert(offsetof(PF_InData, time_step) == 228);
static_assert(offsetof(PF_InData, total_time) == 232);
static_assert(offsetof(PF_InData, local_time_step) == 236);
static_assert(offsetof(PF_InData, time_scale) == 240);
static_assert(offsetof(PF_InData, field) == 244);
static_assert(offsetof(PF_InData, shutter_angle) == 248);
static_assert(offsetof(PF_InData, width) == 252);
static_assert(offsetof(PF_InData, height) == 256);
static_assert(offsetof(PF_InData, extent_hint) == 260);
static_assert(offsetof(PF_InData, output_origin_x) == 276);
static_assert(offsetof(PF_InData, downsample_x) == 284);
static_assert(offsetof(PF_InData, downsample_y) == 292);
static_assert(offsetof(PF_InData, pixel_aspect_ratio) == 300);
static_assert(offsetof(PF_InData, in_flags) == 308);
static_assert(offsetof(PF_InData, global_data) == 312);
static_assert(offsetof(PF_InData, sequence_data) == 320);
static_assert(offsetof(PF_InData, frame_data) == 328);
static_assert(offsetof(PF_InData, start_sampL) == 336);
static_assert(offsetof(PF_InData, total_sampL) == 344);
static_assert(offsetof(PF_InData, src_snd) == 352);
static_assert(offsetof(PF_InData, pica_basicP) == 384);
static_assert(offsetof(PF_InData, pre_effect_source_origin_x) == 392);
static_assert(offsetof(PF_InData, pre_effect_source_origin_y) == 396);
static_assert(offsetof(PF_InData, shutter_phase) == 400);

static_assert(sizeof(PF_PreRenderInput) == 64);
static_assert(offsetof(PF_PreRenderInput, bitdepth) == 44);
static_assert(offsetof(PF_PreRenderInput, gpu_data) == 48);
static_assert(offsetof(PF_PreRenderInput, what_gpu) == 56);
static_assert(offsetof(PF_PreRenderInput, device_index) == 60);
static_assert(sizeof(PF_PreRenderOutput) == 56);
static_assert(offsetof(PF_PreRenderOutput, solid) == 32);
static_assert(offsetof(PF_PreRenderOutput, flags) == 34);
static_assert(offsetof(PF_PreRenderOutput, pre_render_data) == 40);
static_assert(offsetof(PF_PreRenderOutput, delete_pre_render_data_func) == 48);
static_assert(sizeof(PF_PreRenderCallbacks) == 16);
static_assert(sizeof(PF_PreRenderExtra) == 24);
static_assert(offsetof(PF_PreRenderExtra, cb) == 16);
static_assert(sizeof(PF_SmartRenderInput) == 72);
static_assert(offsetof(PF_SmartRenderInput, pre_render_data) == 48);
static_assert(offsetof(PF_SmartRenderInput, gpu_data) == 56);
static_assert(offsetof(PF_SmartRenderInput, what_gpu) == 64);
static_assert(offsetof(PF_SmartRenderInput, device_index) == 68);
static_assert(sizeof(PF_SmartRenderCallbacks) == 24);
static_assert(offsetof(PF_SmartRenderCallbacks, checkin_layer_pixels) == 8);
static_assert(offsetof(PF_SmartRenderCallbacks, checkout_output) == 16);
static_assert(sizeof(PF_SmartRenderExtra) == 16);

static_assert(sizeof(SPBasicSuite) == 56);
static_assert(offsetof(SPBasicSuite, ReleaseSuite) == 8);
static_assert(offsetof(SPBasicSuite, IsEqual) == 16);
static_assert(offsetof(SPBasicSuite, AllocateBlock) == 24);
static_assert(offsetof(SPBasicSuite, FreeBlock) == 32);
static_assert(offsetof(SPBasicSuite, ReallocateBlock) == 40);
static_assert(offsetof(SPBasicSuite, Undefined) == 48);

static_assert(sizeof(PF_WorldSuite1) == 16);
static_assert(sizeof(PF_WorldSuite2) == 24);
static_assert(offsetof(PF_WorldSuite2, PF_GetPixelFormat) == 16);
static_assert(sizeof(PF_PixelFormatSuite1) == 64);
static_assert(offsetof(PF_PixelFormatSuite1, GetPixelFormat) == 32);
static_assert(sizeof(PF_PixelFormatSuite2) == 16);
static_assert(sizeof(PF_ParamUtilsSuite1) == 80);
static_assert(sizeof(PF_ParamUtilsSuite3) == 72);
static_assert(sizeof(PF_ColorParamSuite1) == 8);
static_assert(sizeof(PF_PointParamSuite1) == 8);
static_assert(sizeof(PF_AngleParamSuite1) == 8);
static_assert(sizeof(PF_HandleSuite1) == 48);
static_assert(sizeof(PF_PixelDataSuite1) == 24);
static_assert(sizeof(PF_Iterate8Suite2) == 40);
static_assert(sizeof(PF_iterate16Suite2) == 24);
static_assert(sizeof(PF_iterateFloatSuite2) == 24);
static_assert(sizeof(PF_WorldTransformSuite1) == 56);
static_assert(sizeof(PF_FillMatteSuite2) == 56);

#endif

#endif  // OZ_HOST_AE_AE_INTERFACE_LAYOUT_H
