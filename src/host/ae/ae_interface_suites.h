// The suite broker and the function suites of the host's plug-in interface.
// One piece of the declaration gathered by ae_interface.h.
#ifndef OZ_HOST_AE_AE_INTERFACE_SUITES_H
#define OZ_HOST_AE_AE_INTERFACE_SUITES_H

#include "ae_interface_calls.h"

// ---------------------------------------------------------------------------
// Suite broker, reached through PF_InData::pica_basicP. Suites are looked up
// by name and version; every acquired suite must be released.

struct SPBasicSuite {
  SPErr (*AcquireSuite)(const char* name, int32_t version,
                        const void** suite);
  SPErr (*ReleaseSuite)(const char* name, int32_t version);
  SPBoolean (*IsEqual)(const char* token1, const char* token2);
  SPErr (*AllocateBlock)(size_t size, void** block);
  SPErr (*FreeBlock)(void* block);
  SPErr (*ReallocateBlock)(void* block, size_t newSize, void** newblock);
  SPErr (*Undefined)(void);
};

// ---------------------------------------------------------------------------
// Suite names and versions. Where a constant's name and value carry
// different numbers, both are as the host publishes them.

inline constexpr char kSPBasicSuite[] = "SP Basic Suite";
inline constexpr int32_t kSPBasicSuiteVersion = 4;

inline constexpr char kPFWorldSuite[] = "PF World Suite";
inline constexpr int32_t kPFWorldSuiteVersion1 = 1;
inline constexpr int32_t kPFWorldSuiteVersion2 = 2;

inline constexpr char kPFPixelFormatSuite[] = "PF Pixel Format Suite";
inline constexpr int32_t kPFPixelFormatSuiteVersion1 = 1;
inline constexpr int32_t kPFPixelFormatSuiteVersion2 = 2;

inline constexpr char kPFParamUtilsSuite[] = "PF Param Utils Suite";
inline constexpr int32_t kPFParamUtilsSuiteVersion1 = 2;
inline constexpr int32_t kPFParamUtilsSuiteVersion3 = 3;

inline constexpr char kPFColorParamSuite[] = "PF ColorParamSuite";
inline constexpr int32_t kPFColorParamSuiteVersion1 = 1;

inline constexpr char kPFPointParamSuite[] = "PF PointParamSuite";
inline constexpr int32_t kPFPointParamSuiteVersion1 = 1;

inline constexpr char kPFAngleParamSuite[] = "PF AngleParamSuite";
inline constexpr int32_t kPFAngleParamSuiteVersion1 = 1;

inline constexpr char kPFHandleSuite[] = "PF Handle Suite";
inline constexpr int32_t kPFHandleSuiteVersion1 = 2;

inline constexpr char kPFANSISuite[] = "PF ANSI Suite";
inline constexpr int32_t kPFANSISuiteVersion1 = 1;

inline constexpr char kPFPixelDataSuite[] = "PF Pixel Data Suite";
inline constexpr int32_t kPFPixelDataSuiteVersion1 = 1;
inline constexpr int32_t kPFPixelDataSuiteVersion2 = 2;

inline constexpr char kPFIterate8Suite[] = "PF Iterate8 Suite";
inline constexpr int32_t kPFIterate8SuiteVersion1 = 1;
inline constexpr int32_t kPFIterate8SuiteVersion2 = 2;

inline constexpr char kPFIterate16Suite[] = "PF iterate16 Suite";
inline constexpr int32_t kPFIterate16SuiteVersion1 = 1;
inline constexpr int32_t kPFIterate16SuiteVersion2 = 2;

inline constexpr char kPFIterateFloatSuite[] = "PF iterateFloat Suite";
inline constexpr int32_t kPFIterateFloatSuiteVersion1 = 1;
inline constexpr int32_t kPFIterateFloatSuiteVersion2 = 2;

inline constexpr char kPFWorldTransformSuite[] = "PF World Transform Suite";
inline constexpr int32_t kPFWorldTransformSuiteVersion1 = 1;

inline constexpr char kPFFillMatteSuite[] = "PF Fill Matte Suite";
inline constexpr int32_t kPFFillMatteSuiteVersion2 = 2;

inline constexpr char kPFEffectSequenceDataSuite[] =
    "PF Effect Sequence Data Suite";
inline constexpr int32_t kPFEffectSequenceDataSuiteVersion1 = 1;

inline constexpr char kPFUtilitySuite[] = "PF Utility Suite";
inline constexpr int32_t kPFUtilitySuiteVersion2 = 2;
inline constexpr int32_t kPFUtilitySuiteVersion3 = 3;
inline constexpr int32_t kPFUtilitySuiteVersion4 = 4;
inline constexpr int32_t kPFUtilitySuiteVersion5 = 5;
inline constexpr int32_t kPFUtilitySuiteVersion6 = 6;
inline constexpr int32_t kPFUtilitySuiteVersion7 = 7;
inline constexpr int32_t kPFUtilitySuiteVersion8 = 8;
inline constexpr int32_t kPFUtilitySuiteVersion9 = 9;

inline constexpr char kAEGPRenderSuite[] = "AEGP Render Suite";
inline constexpr int32_t kAEGPRenderSuiteVersion1 = 1;
inline constexpr int32_t kAEGPRenderSuiteVersion2 = 2;
inline constexpr int32_t kAEGPRenderSuiteVersion3 = 3;
inline constexpr int32_t kAEGPRenderSuiteVersion4 = 5;
inline constexpr int32_t kAEGPRenderSuiteVersion5 = 8;

inline constexpr char kAEGPLayerRenderOptionsSuite[] =
    "AEGP Layer Render Options Suite";
inline constexpr int32_t kAEGPLayerRenderOptionsSuiteVersion1 = 1;
inline constexpr int32_t kAEGPLayerRenderOptionsSuiteVersion2 = 2;

// Premiere Pro's suite for sharing unflattened sequence data.
inline constexpr char kPrSDKOpaqueEffectDataSuite[] =
    "Opaque Effect Data Suite";
inline constexpr int32_t kPrSDKOpaqueEffectDataSuiteVersion2 = 2;

// ---------------------------------------------------------------------------
// World suites: allocate and free image buffers of a given depth.

struct PF_WorldSuite1 {
  PF_Err (*new_world)(PF_ProgPtr effect_ref, A_long width, A_long height,
                      PF_NewWorldFlags flags, PF_EffectWorld* world);
  PF_Err (*dispose_world)(PF_ProgPtr effect_ref, PF_EffectWorld* world);
};

struct PF_WorldSuite2 {
  PF_Err (*PF_NewWorld)(PF_ProgPtr effect_ref, A_long widthL, A_long heightL,
                        PF_Boolean clear_pixB, PF_PixelFormat pixel_format,
                        PF_EffectWorld* worldP);
  PF_Err (*PF_DisposeWorld)(PF_ProgPtr effect_ref, PF_EffectWorld* worldP);
  PF_Err (*PF_GetPixelFormat)(const PF_EffectWorld* worldP,
                              PF_PixelFormat* pixel_formatP);
};

// ---------------------------------------------------------------------------
// Pixel format suites. Version 1 is Premiere Pro's and speaks Premiere's
// pixel format codes; version 2 is After Effects' and has two functions.

// Premiere's pixel format code: a C enumeration of unsigned int width.
typedef uint32_t PrPixelFormat;

struct PF_PixelFormatSuite {
  PF_Err (*AddSupportedPixelFormat)(PF_ProgPtr effect_ref,
                                    PrPixelFormat pixelFormat);
  PF_Err (*ClearSupportedPixelFormats)(PF_ProgPtr effect_ref);
  PF_Err (*NewWorldOfPixelFormat)(PF_ProgPtr effect_ref, A_u_long width,
                                  A_u_long height, PF_NewWorldFlags flags,
                                  PrPixelFormat pixelFormat,
                                  PF_EffectWorld* world);
  PF_Err (*DisposeWorld)(PF_ProgPtr effect_ref, PF_EffectWorld* world);
  PF_Err (*GetPixelFormat)(PF_EffectWorld* inWorld,
                           PrPixelFormat* pixelFormat);
  PF_Err (*GetBlackForPixelFormat)(PrPixelFormat pixelFormat,
                                   void* pixelData);
  PF_Err (*GetWhiteForPixelFormat)(PrPixelFormat pixelFormat,
                                   void* pixelData);
  PF_Err (*ConvertColorToPixelFormattedData)(PrPixelFormat pixelFormat,
                                             float alpha, float red,
                                             float green, float blue,
                                             void* pixelData);
};
typedef PF_PixelFormatSuite PF_PixelFormatSuite1;

struct PF_PixelFormatSuite2 {
  PF_Err (*PF_AddSupportedPixelFormat)(PF_ProgPtr effect_ref,
                                       PF_PixelFormat pixel_format);
  PF_Err (*PF_ClearSupportedPixelFormats)(PF_ProgPtr effect_ref);
};

// ---------------------------------------------------------------------------
// Parameter helper suites.

typedef A_long PF_KeyIndex;
typedef A_long PF_TimeDir;

enum {
  PF_ParamIndex_NONE = -1,
  PF_ParamIndex_CHECK_ALL = -2,
  PF_ParamIndex_CHECK_ALL_EXCEPT_LAYER_PARAMS = -3,
  PF_ParamIndex_CHECK_ALL_HONOR_EXCLUDE = -4
};

enum {
  PF_KeyIndex_NONE = -1
};

enum {
  PF_TimeDir_GREATER_THAN = 0x0000,
  PF_TimeDir_LESS_THAN = 0x0001,
  PF_TimeDir_GREATER_THAN_OR_EQUAL = 0x1000,
  PF_TimeDir_LESS_THAN_OR_EQUAL = 0x1001
};

// Opaque snapshot of the inputs, compared to detect changes.
struct PF_State {
  A_long reservedAL[4];
};

// Published as version 1, acquired with version number 2.
struct PF_ParamUtilsSuite1 {
  PF_Err (*PF_UpdateParamUI)(PF_ProgPtr effect_ref,
                             PF_ParamIndex param_index,
                             const PF_ParamDef* defP);
  PF_Err (*PF_GetCurrentStateObsolete)(PF_ProgPtr effect_ref,
                                       PF_State* stateP);
  PF_Err (*PF_HasParamChangedObsolete)(PF_ProgPtr effect_ref,
                                       const PF_State* stateP,
                                       PF_ParamIndex param_index,
                                       PF_Boolean* changedPB);
  PF_Err (*PF_HaveInputsChangedOverTimeSpanObsolete)(
      PF_ProgPtr effect_ref, const PF_State* stateP, const A_Time* startPT0,
      const A_Time* durationPT0, PF_Boolean* changedPB);
  PF_Err (*PF_IsIdenticalCheckout)(PF_ProgPtr effect_ref,
                                   PF_ParamIndex param_index,
                                   A_long what_time1, A_long time_step1,
                                   A_u_long time_scale1, A_long what_time2,
                                   A_long time_step2, A_u_long time_scale2,
                                   PF_Boolean* identicalPB);
  PF_Err (*PF_FindKeyframeTime)(PF_ProgPtr effect_ref,
                                PF_ParamIndex param_index, A_long what_time,
                                A_u_long time_scale, PF_TimeDir time_dir,
                                PF_Boolean* foundPB, PF_KeyIndex* key_indexP0,
                                A_long* key_timeP0,
                                A_u_long* key_timescaleP0);
  PF_Err (*PF_GetKeyframeCount)(PF_ProgPtr effect_ref,
                                PF_ParamIndex param_index,
                                PF_KeyIndex* key_countP);
  PF_Err (*PF_CheckoutKeyframe)(PF_ProgPtr effect_ref,
                                PF_ParamIndex param_index,
                                PF_KeyIndex key_index, A_long* key_timeP0,
                                A_u_long* key_timescaleP0,
                                PF_ParamDef* paramP0);
  PF_Err (*PF_CheckinKeyframe)(PF_ProgPtr effect_ref, PF_ParamDef* paramP);
  PF_Err (*PF_KeyIndexToTime)(PF_ProgPtr effect_ref,
                              PF_ParamIndex param_index,
                              PF_KeyIndex key_indexP, A_long* key_timeP,
                              A_u_long* key_timescaleP);
};

struct PF_ParamUtilsSuite3 {
  PF_Err (*PF_UpdateParamUI)(PF_ProgPtr effect_ref,
                             PF_ParamIndex param_index,
                             const PF_ParamDef* defP);
  PF_Err (*PF_GetCurrentState)(PF_ProgPtr effect_ref,
                               PF_ParamIndex param_index,
                               const A_Time* startPT0,
                               const A_Time* durationPT0, PF_State* stateP);
  PF_Err (*PF_AreStatesIdentical)(PF_ProgPtr effect_ref,
                                  const PF_State* state1P,
                                  const PF_State* state2P,
                                  A_Boolean* samePB);
  PF_Err (*PF_IsIdenticalCheckout)(PF_ProgPtr effect_ref,
                                   PF_ParamIndex param_index,
                                   A_long what_time1, A_long time_step1,
                                   A_u_long time_scale1, A_long what_time2,
                                   A_long time_step2, A_u_long time_scale2,
                                   PF_Boolean* identicalPB);
  PF_Err (*PF_FindKeyframeTime)(PF_ProgPtr effect_ref,
                                PF_ParamIndex param_index, A_long what_time,
                                A_u_long time_scale, PF_TimeDir time_dir,
                                PF_Boolean* foundPB, PF_KeyIndex* key_indexP0,
                                A_long* key_timeP0,
                                A_u_long* key_timescaleP0);
  PF_Err (*PF_GetKeyframeCount)(PF_ProgPtr effect_ref,
                                PF_ParamIndex param_index,
                                PF_KeyIndex* key_countP);
  PF_Err (*PF_CheckoutKeyframe)(PF_ProgPtr effect_ref,
                                PF_ParamIndex param_index,
                                PF_KeyIndex key_index, A_long* key_timeP0,
                                A_u_long* key_timescaleP0,
                                PF_ParamDef* paramP0);
  PF_Err (*PF_CheckinKeyframe)(PF_ProgPtr effect_ref, PF_ParamDef* paramP);
  PF_Err (*PF_KeyIndexToTime)(PF_ProgPtr effect_ref,
                              PF_ParamIndex param_index,
                              PF_KeyIndex key_indexP, A_long* key_timeP,
                              A_u_long* key_timescaleP);
};

// Full-precision values of parameters the parameter array rounds.
struct PF_ColorParamSuite1 {
  PF_Err (*PF_GetFloatingPointColorFromColorDef)(
      PF_ProgPtr effect_ref, const PF_ParamDef* color_defP,
      PF_PixelFloat* fp_colorP);
};

struct PF_PointParamSuite1 {
  PF_Err (*PF_GetFloatingPointValueFromPointDef)(
      PF_ProgPtr effect_ref, const PF_ParamDef* point_defP,
      A_FloatPoint* fp_pointP);
};

struct PF_AngleParamSuite1 {
  PF_Err (*PF_GetFloatingPointValueFromAngleDef)(
      PF_ProgPtr effect_ref, const PF_ParamDef* angle_defP,
      A_FpLong* fp_valueP);
};

// ---------------------------------------------------------------------------
// Suite forms of the utility callbacks.

struct PF_HandleSuite1 {
  PF_Handle (*host_new_handle)(A_HandleSize size);
  void* (*host_lock_handle)(PF_Handle pf_handle);
  void (*host_unlock_handle)(PF_Handle pf_handle);
  void (*host_dispose_handle)(PF_Handle pf_handle);
  A_HandleSize (*host_get_handle_size)(PF_Handle pf_handle);
  PF_Err (*host_resize_handle)(A_HandleSize new_sizeL, PF_Handle* handlePH);
};

struct PF_PixelDataSuite1 {
  PF_Err (*get_pixel_data8)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0,
                            PF_Pixel8** pixPP);
  PF_Err (*get_pixel_data16)(PF_EffectWorld* worldP, PF_PixelPtr pixelsP0,
                             PF_Pixel16** pixPP);
  PF_Err (*get_pixel_data_float)(PF_EffectWorld* worldP,
                                 PF_PixelPtr pixelsP0,
                                 PF_PixelFloat** pixPP);
};

struct PF_Iterate8Suite2 {
  PF_Err (*iterate)(PF_InData* in_data, A_long progress_base,
                    A_long progress_final, PF_EffectWorld* src,
                    const PF_Rect* area, void* refcon,
                    PF_IteratePixel8Func pix_fn, PF_EffectWorld* dst);
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
  PF_Err (*iterate_origin_non_clip_src)(
      PF_InData* in_data, A_long progress_base, A_long progress_final,
      PF_EffectWorld* src, const PF_Rect* area, const PF_Point* origin,
      void* refcon, PF_IteratePixel8Func pix_fn, PF_EffectWorld* dst);
  PF_Err (*iterate_generic)(A_long iterationsL, void* refconPV,
                            PF_Err (*fn_func)(void* refconPV,
                                              A_long thread_indexL, A_long i,
                                              A_long iterationsL));
};

struct PF_iterate16Suite2 {
  PF_Err (*iterate)(PF_InData* in_data, A_long progress_base,
                    A_long progress_final, PF_EffectWorld* src,
                    const PF_Rect* area, void* refcon,
                    PF_IteratePixel16Func pix_fn, PF_EffectWorld* dst);
  PF_Err (*iterate_origin)(PF_InData* in_data, A_long progress_base,
                           A_long progress_final, PF_EffectWorld* src,
                           const PF_Rect* area, const PF_Point* origin,
                           void* refcon, PF_IteratePixel16Func pix_fn,
                           PF_EffectWorld* dst);
  PF_Err (*iterate_origin_non_clip_src)(
      PF_InData* in_data, A_long progress_base, A_long progress_final,
      PF_EffectWorld* src, const PF_Rect* area, const PF_Point* origin,
      void* refcon, PF_IteratePixel16Func pix_fn, PF_EffectWorld* dst);
};
typedef PF_iterate16Suite2 PF_Iterate16Suite2;

struct PF_iterateFloatSuite2 {
  PF_Err (*iterate)(PF_InData* in_data, A_long progress_base,
                    A_long progress_final, PF_EffectWorld* src,
                    const PF_Rect* area, void* refcon,
                    PF_IteratePixelFloatFunc pix_fn, PF_EffectWorld* dst);
  PF_Err (*iterate_origin)(PF_InData* in_data, A_long progress_base,
                           A_long progress_final, PF_EffectWorld* src,
                           const PF_Rect* area, const PF_Point* origin,
                           void* refcon, PF_IteratePixelFloatFunc pix_fn,
                           PF_EffectWorld* dst);
  PF_Err (*iterate_origin_non_clip_src)(
      PF_InData* in_data, A_long progress_base, A_long progress_final,
      PF_EffectWorld* src, const PF_Rect* area, const PF_Point* origin,
      void* refcon, PF_IteratePixelFloatFunc pix_fn, PF_EffectWorld* dst);
};
typedef PF_iterateFloatSuite2 PF_IterateFloatSuite2;

struct PF_WorldTransformSuite1 {
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
  PF_Err (*copy_hq)(PF_ProgPtr effect_ref, PF_EffectWorld* src,
                    PF_EffectWorld* dst, PF_Rect* src_r, PF_Rect* dst_r);
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
};

struct PF_FillMatteSuite2 {
  PF_Err (*fill)(PF_ProgPtr effect_ref, const PF_Pixel* color,
                 const PF_Rect* dst_rect, PF_EffectWorld* world);
  PF_Err (*fill16)(PF_ProgPtr effect_ref, const PF_Pixel16* color,
                   const PF_Rect* dst_rect, PF_EffectWorld* world);
  PF_Err (*fill_float)(PF_ProgPtr effect_ref, const PF_PixelFloat* color,
                       const PF_Rect* dst_rect, PF_EffectWorld* world);
  PF_Err (*premultiply)(PF_ProgPtr effect_ref, A_long forward,
                        PF_EffectWorld* dst);
  PF_Err (*premultiply_color)(PF_ProgPtr effect_ref, PF_EffectWorld* src,
                              const PF_Pixel* color, A_long forward,
                              PF_EffectWorld* dst);
  PF_Err (*premultiply_color16)(PF_ProgPtr effect_ref, PF_EffectWorld* src,
                                const PF_Pixel16* color, A_long forward,
                                PF_EffectWorld* dst);
  PF_Err (*premultiply_color_float)(PF_ProgPtr effect_ref,
                                    PF_EffectWorld* src,
                                    const PF_PixelFloat* color,
                                    A_long forward, PF_EffectWorld* dst);
};

#endif  // OZ_HOST_AE_AE_INTERFACE_SUITES_H
