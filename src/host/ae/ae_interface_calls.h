// Callback tables, the input and output blocks, the smart-render records and
// the entry point type of the host's plug-in interface. One piece of the
// declaration gathered by ae_interface.h.
#ifndef OZ_HOST_AE_AE_INTERFACE_CALLS_H
#define OZ_HOST_AE_AE_INTERFACE_CALLS_H

#include "ae_interface_params.h"

struct SPBasicSuite;
struct PF_InData;

// ---------------------------------------------------------------------------
// Custom UI registration, passed to register_ui.

typedef A_long PF_CustomEventFlags;
typedef A_long PF_UIAlignment;

enum {
  PF_CustomEFlag_NONE = 0,
  PF_CustomEFlag_COMP = 1L << 0,
  PF_CustomEFlag_LAYER = 1L << 1,
  PF_CustomEFlag_EFFECT = 1L << 2,
  PF_CustomEFlag_PREVIEW = 1L << 3
};

enum {
  PF_UIAlignment_NONE = 0,
  PF_UIAlignment_TOP = 1L << 0,
  PF_UIAlignment_LEFT = 1L << 1,
  PF_UIAlignment_BOTTOM = 1L << 2,
  PF_UIAlignment_RIGHT = 1L << 3
};

struct _PF_CustomUIInfo {
  A_long reserved;
  PF_CustomEventFlags events;
  A_long comp_ui_width;
  A_long comp_ui_height;
  PF_UIAlignment comp_ui_alignment;
  A_long layer_ui_width;
  A_long layer_ui_height;
  PF_UIAlignment layer_ui_alignment;
  A_long preview_ui_width;
  A_long preview_ui_height;
  PF_UIAlignment preview_ui_alignment;
};
typedef _PF_CustomUIInfo PF_CustomUIInfo;

// ---------------------------------------------------------------------------
// Interaction callbacks, embedded at the head of PF_InData. Every call takes
// the effect_ref the host handed in PF_InData.

struct PF_InteractCallbacks {
  PF_Err (*checkout_param)(PF_ProgPtr effect_ref, PF_ParamIndex index,
                           A_long what_time, A_long time_step,
                           A_u_long time_scale, PF_ParamDef* param);
  PF_Err (*checkin_param)(PF_ProgPtr effect_ref, PF_ParamDef* param);
  PF_Err (*add_param)(PF_ProgPtr effect_ref, PF_ParamIndex index,
                      PF_ParamDefPtr def);
  PF_Err (*abort)(PF_ProgPtr effect_ref);
  PF_Err (*progress)(PF_ProgPtr effect_ref, A_long current, A_long total);
  PF_Err (*register_ui)(PF_ProgPtr effect_ref, PF_CustomUIInfo* cust_info);
  PF_Err (*checkout_layer_audio)(PF_ProgPtr effect_ref, PF_ParamIndex index,
                                 A_long start_time, A_long duration,
                                 A_u_long time_scale, PF_UFixed rate,
                                 A_long bytes_per_sample, A_long num_channels,
                                 A_long fmt_signed, PF_LayerAudio* audio);
  PF_Err (*checkin_layer_audio)(PF_ProgPtr effect_ref, PF_LayerAudio audio);
  PF_Err (*get_audio_data)(PF_ProgPtr effect_ref, PF_LayerAudio audio,
                           PF_SndSamplePtr* data0, A_long* num_samples0,
                           PF_UFixed* rate0, A_long* bytes_per_sample0,
                           A_long* num_channels0, A_long* fmt_signed0);
  void* reserved_str[3];
  void* reserved[10];
};

// ---------------------------------------------------------------------------
// Utility callbacks, reached through PF_InData::utils.

// Sampling parameters for the sample callbacks.
struct PF_SampPB {
  PF_Fixed x_radius;
  PF_Fixed y_radius;
  PF_Fixed area;
  PF_EffectWorld* src;
  PF_SampleEdgeBehav samp_behave;
  A_long allow_asynch;
  A_long motion_blur;
  PF_CompositeMode comp_mode;
  PF_PixelPtr mask0;
  A_u_char* fcm_table;
  A_u_char* fcd_table;
  A_long reserved[8];
};

// get_callback_addr hands back a pointer the caller must cast to the
// callback's real type; the incomplete struct stops it being called as is.
struct PF_YouMustCastThisToActualFunctionType;
typedef PF_YouMustCastThisToActualFunctionType* PF_CallbackFunc;

typedef PF_Err (*PF_IteratePixel8Func)(void* refconP, A_long xL, A_long yL,
                                       PF_Pixel* inP, PF_Pixel* outP);
typedef PF_Err (*PF_IteratePixel16Func)(void* refconP, A_long xL, A_long yL,
                                        PF_Pixel16* inP, PF_Pixel16* outP);
typedef PF_Err (*PF_IteratePixelFloatFunc)(void* refconP, A_long xL,
                                           A_long yL, PF_PixelFloat* inP,
                                           PF_PixelFloat* outP);

// Math and string helpers, so a plug-in need not link a C library. Angles
// are radians here.
struct PF_ANSICallbacksBlock {
  A_FpLong (*atan)(A_FpLong);
  A_FpLong (*atan2)(A_FpLong y, A_FpLong x);
  A_FpLong (*ceil)(A_FpLong);
  A_FpLong (*cos)(A_FpLong);
  A_FpLong (*exp)(A_FpLong);
  A_FpLong (*fabs)(A_FpLong);
  A_FpLong (*floor)(A_FpLong);
  A_FpLong (*fmod)(A_FpLong x, A_FpLong y);
  A_FpLong (*hypot)(A_FpLong x, A_FpLong y);
  A_FpLong (*log)(A_FpLong);
  A_FpLong (*log10)(A_FpLong);
  A_FpLong (*pow)(A_FpLong x, A_FpLong y);
  A_FpLong (*sin)(A_FpLong);
  A_FpLong (*sqrt)(A_FpLong);
  A_FpLong (*tan)(A_FpLong);
  int (*sprintf)(A_char*, const A_char*, ...);
  A_char* (*strcpy)(A_char*, const A_char*);
  A_FpLong (*asin)(A_FpLong);
  A_FpLong (*acos)(A_FpLong);
  A_long unused_longA[1];
};
// The other published name of the same block.
typedef PF_ANSICallbacksBlock PF_ANSICallbacks;

struct PF_ColorCallbacks {
  PF_Err (*RGBtoHLS)(PF_ProgPtr effect_ref, PF_Pixel* rgb, PF_Fixed* hls);
  PF_Err (*HLStoRGB)(PF_ProgPtr effect_ref, PF_Fixed* hls, PF_Pixel* rgb);
  PF_Err (*RGBtoYIQ)(PF_ProgPtr effect_ref, PF_Pixel* rgb, PF_Fixed* yiq);
  PF_Err (*YIQtoRGB)(PF_ProgPtr effect_ref, PF_Fixed* yiq, PF_Pixel* rgb);
  PF_Err (*Luminance)(PF_ProgPtr effect_ref, PF_Pixel* rgb, A_long* lum100);
  PF_Err (*Hue)(PF_ProgPtr effect_ref, PF_Pixel* rgb, A_long* hue);
  PF_Err (*Lightness)(PF_ProgPtr effect_ref, PF_Pixel* rgb,
                      A_long* lightness);
  PF_Err (*Saturation)(PF_ProgPtr effect_ref, PF_Pixel* rgb,
                       A_long* saturation);
};

struct _PF_UtilCallbacks {
  PF_Err (*begin_sampling)(PF_ProgPtr effect_ref, PF_Quality qual,
                           PF_ModeFlags mf, PF_SampPB* params);
  PF_Err (*subpixel_sample)(PF_ProgPtr effect_ref, PF_Fixed x, PF_Fixed y,
                            const PF_SampPB* params, PF_Pixel* dst_pixel);
  PF_Err (*area_sample)(PF_ProgPtr effect_ref, PF_Fixed x, PF_Fixed y,
                        const PF_SampPB* params, PF_Pixel* dst_pixel);
  void* get_batch_func_is_deprecated;
  PF_Err (*end_sampling)(PF_ProgPtr effect_ref, PF_Quality qual,
                         PF_ModeFlags mf, PF_SampPB* params);
  PF_Err (*composite_rect)(PF_ProgPtr effect_ref, PF_Rect* src_rect,
                           A_long src_opacity, PF_EffectWorld* source_wld,
                           A_long dest_x, A_long dest_y, PF_Field field_rdr,
                           PF_XferMode xfer_mode, PF_EffectWorld* dest_wld);
  PF_Err (*blend)(PF_ProgPtr effect_ref, const PF_EffectWorld* src1,
                  const PF_EffectWorld* src2, PF_Fixed ratio,
                  PF_EffectWorld* dst);
  PF_Err (*convolve)(PF_ProgPtr effect_ref, PF_EffectWorld* src,
                     const PF_Rect* area, PF_KernelFlags flags,
                     A_long kernel_size, void* a_kernel, void* r_kernel,
                     void* g_kernel, void* b_kernel, PF_EffectWorld* dst);
  PF_Err (*copy)(PF_ProgPtr effect_ref, PF_EffectWorld* src,
                 PF_EffectWorld* dst, PF_Rect* src_r, PF_Rect* dst_r);
  PF_Err (*fill)(PF_ProgPtr effect_ref, const PF_Pixel* color,
                 const PF_Rect* dst_rect, PF_EffectWorld* world);
  PF_Err (*gaussian_kernel)(PF_ProgPtr effect_ref, A_FpLong kRadius,
                            PF_KernelFlags flags, A_FpLong multiplier,
                            A_long* diameter, void* kernel);
  PF_Err (*iterate)(PF_InData* in_data, A_long progress_base,
                    A_long progress_final, PF_EffectWorld* src,
                    const PF_Rect* area, void* refcon,
                    PF_IteratePixel8Func pix_fn, PF_EffectWorld* dst);
  PF_Err (*premultiply)(PF_ProgPtr effect_ref, A_long forward,
                        PF_EffectWorld* dst);
  PF_Err (*premultiply_color)(PF_ProgPtr effect_ref, PF_EffectWorld* src,
                              const PF_Pixel* color, A_long forward,
                              PF_EffectWorld* dst);
  PF_Err (*new_world)(PF_ProgPtr effect_ref, A_long width, A_long height,
                      PF_NewWorldFlags flags, PF_EffectWorld* world);
  PF_Err (*dispose_world)(PF_ProgPtr effect_ref, PF_EffectWorld* world);
  PF_Err (*iterate_origin)(PF_InData* in_data, A_long progress_base,
                           A_long progress_final, PF_EffectWorld* src,
                           const PF_Rect* area, const PF_Point* origin,
                           void* refcon, PF_IteratePixel8Func pix_fn,
                           PF_EffectWorld* dst);
  PF_Err (*iterate_lut)(PF_InData* in_data, A_long progress_base,
                        A_long progress_final, PF_EffectWorld* src,
                        const PF_Rect* area, A_u_char* a_lut0,
                        A_u_char* r_lut0, A_u_char* g_lut0, A_u_char* b_lut0,
                        PF_EffectWorld* dst);
  PF_Err (*transfer_rect)(PF_ProgPtr effect_ref, PF_Quality quality,
                          PF_ModeFlags m_flags, PF_Field field,
                          const PF_Rect* src_rec,
                          const PF_EffectWorld* src_world,
                          const PF_CompositeMode* comp_mode,
                          const PF_MaskWorld* mask_world0, A_long dest_x,
                          A_long dest_y, PF_EffectWorld* dst_world);
  PF_Err (*transform_world)(PF_ProgPtr effect_ref, PF_Quality quality,
                            PF_ModeFlags m_flags, PF_Field field,
                            const PF_EffectWorld* src_world,
                            const PF_CompositeMode* comp_mode,
                            const PF_MaskWorld* mask_world0,
                            const PF_FloatMatrix* matrices,
                            A_long num_matrices, PF_Boolean src2dst_matrix,
                            const PF_Rect* dest_rect,
                            PF_EffectWorld* dst_world);
  PF_Handle (*host_new_handle)(A_HandleSize size);
  void* (*host_lock_handle)(PF_Handle pf_handle);
  void (*host_unlock_handle)(PF_Handle pf_handle);
  void (*host_dispose_handle)(PF_Handle pf_handle);
  PF_Err (*get_callback_addr)(PF_ProgPtr effect_ref, PF_Quality quality,
                              PF_ModeFlags mode_flags,
                              PF_CallbackID which_callback,
                              PF_CallbackFunc* fn_ptr);
  PF_Err (*app)(PF_ProgPtr, A_long, ...);
  PF_ANSICallbacksBlock ansi;
  PF_ColorCallbacks colorCB;
  PF_Err (*get_platform_data)(PF_ProgPtr effect_ref, PF_PlatDataID which,
                              void* data);
  A_HandleSize (*host_get_handle_size)(PF_Handle pf_handle);
  PF_Err (*iterate_origin_non_clip_src)(
      PF_InData* in_data, A_long progress_base, A_long progress_final,
      PF_EffectWorld* src, const PF_Rect* area, const PF_Point* origin,
      void* refcon, PF_IteratePixel8Func pix_fn, PF_EffectWorld* dst);
  // Calls fn_func once per index in [0, iterationsL) across host threads.
  PF_Err (*iterate_generic)(A_long iterationsL, void* refconPV,
                            PF_Err (*fn_func)(void* refconPV,
                                              A_long thread_indexL, A_long i,
                                              A_long iterationsL));
  PF_Err (*host_resize_handle)(A_HandleSize new_sizeL, PF_Handle* handlePH);
  PF_Err (*subpixel_sample16)(PF_ProgPtr effect_ref, PF_Fixed x, PF_Fixed y,
                              const PF_SampPB* params,
                              PF_Pixel16* dst_pixel);
  PF_Err (*area_sample16)(PF_ProgPtr effect_ref, PF_Fixed x, PF_Fixed y,
                          const PF_SampPB* params, PF_Pixel16* dst_pixel);
  PF_Err (*fill16)(PF_ProgPtr effect_ref, const PF_Pixel16* color,
                   const PF_Rect* dst_rect, PF_EffectWorld* world);
  PF_Err (*premultiply_color16)(PF_ProgPtr effect_ref, PF_EffectWorld* src,
                                const PF_Pixel16* color, A_long forward,
                                PF_EffectWorld* dst);
  PF_Err (*iterate16)(PF_InData* in_data, A_long progress_base,
                      A_long progress_final, PF_EffectWorld* src,
                      const PF_Rect* area, void* refcon,
                      PF_IteratePixel16Func pix_fn, PF_EffectWorld* dst);
  PF_Err (*iterate_origin16)(PF_InData* in_data, A_long progress_base,
                             A_long progress_final, PF_EffectWorld* src,
                             const PF_Rect* area, const PF_Point* origin,
                             void* refcon, PF_IteratePixel16Func pix_fn,
                             PF_EffectWorld* dst);
  PF_Err (*iterate_origin_non_clip_src16)(
      PF_InData* in_data, A_long progress_base, A_long progress_final,
      PF_EffectWorld* src, const PF_Rect* area, const PF_Point* origin,
      void* refcon, PF_IteratePixel16Func pix_fn, PF_EffectWorld* dst);
  PF_Err (*get_pixel_data8)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0,
                            PF_Pixel8** pixPP);
  PF_Err (*get_pixel_data16)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0,
                             PF_Pixel16** pixPP);
  A_long reserved[1];
};
typedef _PF_UtilCallbacks PF_UtilCallbacks;

// ---------------------------------------------------------------------------
// Output block: what the plug-in reports back after each command.

struct PF_OutData {
  A_u_long my_version;
  A_char name[32];
  PF_Handle global_data;
  A_long num_params;
  PF_Handle sequence_data;
  A_long flat_sdata_size;
  PF_Handle frame_data;
  A_long width;
  A_long height;
  PF_Point origin;
  PF_OutFlags out_flags;
  A_char return_msg[PF_MAX_EFFECT_MSG_LEN + 1];
  A_long start_sampL;
  A_long dur_sampL;
  PF_SoundWorld dest_snd;
  PF_OutFlags2 out_flags2;
};

// Input block: what the host tells the plug-in with each command.
struct PF_InData {
  PF_InteractCallbacks inter;
  _PF_UtilCallbacks* utils;
  PF_ProgPtr effect_ref;
  PF_Quality quality;
  PF_SpecVersion version;
  A_long serial_num;
  A_AppID appl_id;
  A_long num_params;
  A_long reserved;
  A_long what_cpu;
  A_long what_fpu;
  A_long current_time;
  A_long time_step;
  A_long total_time;
  A_long local_time_step;
  A_u_long time_scale;
  PF_Field field;
  PF_Fixed shutter_angle;
  A_long width;
  A_long height;
  PF_Rect extent_hint;
  A_long output_origin_x;
  A_long output_origin_y;
  PF_RationalScale downsample_x;
  PF_RationalScale downsample_y;
  PF_RationalScale pixel_aspect_ratio;
  PF_InFlags in_flags;
  PF_Handle global_data;
  PF_Handle sequence_data;
  PF_Handle frame_data;
  A_long start_sampL;
  A_long dur_sampL;
  A_long total_sampL;
  PF_SoundWorld src_snd;
  SPBasicSuite* pica_basicP;
  A_long pre_effect_source_origin_x;
  A_long pre_effect_source_origin_y;
  PF_Fixed shutter_phase;
};

// ---------------------------------------------------------------------------
// Smart render. PF_Cmd_SMART_PRE_RENDER passes a PF_PreRenderExtra and
// PF_Cmd_SMART_RENDER a PF_SmartRenderExtra as the extra argument.

struct PF_RenderRequest {
  PF_LRect rect;
  PF_Field field;
  PF_ChannelMask channel_mask;
  PF_Boolean preserve_rgb_of_zero_alpha;
  char unused[3];
  A_long reserved[4];
};

struct PF_CheckoutResult {
  PF_LRect result_rect;
  PF_LRect max_result_rect;
  PF_RationalScale par;
  PF_Boolean solid;
  PF_Boolean reservedB[3];
  A_long ref_width;
  A_long ref_height;
  A_long reserved[6];
};

struct PF_PreRenderInput {
  PF_RenderRequest output_request;
  short bitdepth;
  const void* gpu_data;
  PF_GPU_Framework what_gpu;
  A_u_long device_index;
};

typedef void (*PF_DeletePreRenderDataFunc)(void* pre_render_data);

struct PF_PreRenderOutput {
  PF_LRect result_rect;
  PF_LRect max_result_rect;
  PF_Boolean solid;
  PF_Boolean reserved;
  PF_RenderOutputFlags flags;
  void* pre_render_data;
  PF_DeletePreRenderDataFunc delete_pre_render_data_func;
};

struct PF_PreRenderCallbacks {
  PF_Err (*checkout_layer)(PF_ProgPtr effect_ref, PF_ParamIndex index,
                           A_long checkout_idL, const PF_RenderRequest* req,
                           A_long what_time, A_long time_step,
                           A_u_long time_scale,
                           PF_CheckoutResult* checkout_result);
  PF_Err (*GuidMixInPtr)(PF_ProgPtr effect_ref, A_u_long buf_sizeLu,
                         const void* buf);
};

struct PF_PreRenderExtra {
  PF_PreRenderInput* input;
  PF_PreRenderOutput* output;
  PF_PreRenderCallbacks* cb;
};

struct PF_SmartRenderInput {
  PF_RenderRequest output_request;
  short bitdepth;
  void* pre_render_data;
  const void* gpu_data;
  PF_GPU_Framework what_gpu;
  A_u_long device_index;
};

struct PF_SmartRenderCallbacks {
  PF_Err (*checkout_layer_pixels)(PF_ProgPtr effect_ref, A_long checkout_idL,
                                  PF_EffectWorld** pixels);
  PF_Err (*checkin_layer_pixels)(PF_ProgPtr effect_ref, A_long checkout_idL);
  PF_Err (*checkout_output)(PF_ProgPtr effect_ref, PF_EffectWorld** output);
};

struct PF_SmartRenderExtra {
  PF_SmartRenderInput* input;
  PF_SmartRenderCallbacks* cb;
};

// ---------------------------------------------------------------------------
// Entry point. The plug-in exports one function of this type; params is a
// null-terminated array whose element 0 is the input layer.

typedef PF_Err (*PF_FilterProc)(PF_Cmd cmd, PF_InData* in_data,
                                PF_OutData* out_data, PF_ParamDef* params[],
                                PF_LayerDef* output, void* extra);

#endif  // OZ_HOST_AE_AE_INTERFACE_CALLS_H
