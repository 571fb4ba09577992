// Images, sound and effect parameters of the host's plug-in interface.
// One piece of the declaration gathered by ae_interface.h.
#ifndef OZ_HOST_AE_AE_INTERFACE_PARAMS_H
#define OZ_HOST_AE_AE_INTERFACE_PARAMS_H

#include "ae_interface_types.h"

// ---------------------------------------------------------------------------
// Image buffer. The same record describes a layer parameter, the output
// buffer and any world the plug-in allocates.

struct PF_LayerDef {
  void* reserved0;
  void* reserved1;
  PF_WorldFlags world_flags;
  PF_PixelPtr data;
  A_long rowbytes;
  A_long width;
  A_long height;
  PF_UnionableRect extent_hint;
  void* platform_ref;
  A_long reserved_long1;
  void* reserved_long4;
  PF_RationalScale pix_aspect_ratio;
  void* reserved_long2;
  A_long origin_x;
  A_long origin_y;
  A_long reserved_long3;
  A_long dephault;
};
typedef PF_LayerDef PF_EffectWorld;
typedef PF_LayerDef* PF_EffectWorldPtr;

enum {
  PF_LayerDefault_MYSELF = -1,
  PF_LayerDefault_NONE = 0
};

// A world plus the matte that masks it, for transfer_rect.
struct PF_MaskWorld {
  PF_EffectWorld mask;
  PF_Point offset;
  PF_MaskFlags what_is_mask;
};

// ---------------------------------------------------------------------------
// Sound.

typedef A_short PF_SoundFormat;
typedef A_short PF_SoundSampleSize;
typedef A_short PF_SoundChannels;

enum {
  PF_UNSIGNED_PCM = 0,
  PF_SIGNED_PCM = 1,
  PF_SIGNED_FLOAT = 2
};

enum {
  PF_SSS_1 = 1,
  PF_SSS_2 = 2,
  PF_SSS_4 = 4
};

enum {
  PF_Channels_MONO = 1,
  PF_Channels_STEREO = 2
};

struct PF_SoundFormatInfo {
  PF_FpLong rateF;
  PF_SoundChannels num_channels;
  PF_SoundFormat format;
  PF_SoundSampleSize sample_size;
};

struct PF_SoundWorld {
  PF_SoundFormatInfo fi;
  A_long num_samples;
  void* dataP;
};

// ---------------------------------------------------------------------------
// Parameter kinds and flags.

enum {
  PF_Param_RESERVED = -1,
  PF_Param_LAYER = 0,
  PF_Param_SLIDER,        // 1
  PF_Param_FIX_SLIDER,    // 2
  PF_Param_ANGLE,         // 3
  PF_Param_CHECKBOX,      // 4
  PF_Param_COLOR,         // 5
  PF_Param_POINT,         // 6
  PF_Param_POPUP,         // 7
  PF_Param_CUSTOM,        // 8
  PF_Param_NO_DATA,       // 9
  PF_Param_FLOAT_SLIDER,  // 10
  PF_Param_ARBITRARY_DATA, // 11
  PF_Param_PATH,          // 12
  PF_Param_GROUP_START,   // 13
  PF_Param_GROUP_END,     // 14
  PF_Param_BUTTON,        // 15
  PF_Param_RESERVED2,     // 16
  PF_Param_RESERVED3,     // 17
  PF_Param_POINT_3D       // 18
};

enum {
  PF_Precision_INTEGER,
  PF_Precision_TENTHS,
  PF_Precision_HUNDREDTHS,
  PF_Precision_THOUSANDTHS,
  PF_Precision_TEN_THOUSANDTHS
};

// Names that share a bit are synonyms or apply to different parameter
// kinds.
enum {
  PF_ParamFlag_NONE = 0,
  PF_ParamFlag_RESERVED1 = 1L << 0,
  PF_ParamFlag_CANNOT_TIME_VARY = 1L << 1,
  PF_ParamFlag_CANNOT_INTERP = 1L << 2,
  PF_ParamFlag_RESERVED2 = 1L << 3,
  PF_ParamFlag_RESERVED3 = 1L << 4,
  PF_ParamFlag_COLLAPSE_TWIRLY = 1L << 5,
  PF_ParamFlag_SUPERVISE = 1L << 6,
  PF_ParamFlag_START_COLLAPSED = PF_ParamFlag_COLLAPSE_TWIRLY,
  PF_ParamFlag_USE_VALUE_FOR_OLD_PROJECTS = 1L << 7,
  PF_ParamFlag_LAYER_PARAM_IS_TRACKMATTE = 1L << 7,
  PF_ParamFlag_EXCLUDE_FROM_HAVE_INPUTS_CHANGED = 1L << 8,
  PF_ParamFlag_SKIP_REVEAL_WHEN_UNHIDDEN = 1L << 9,
  PF_ParamFlag_unused1 = 1L << 10,
  PF_ParamFlag_RESERVED4 = 1L << 11,
  PF_ParamFlags_ALL = 0xFFFFFFFFUL
};

enum {
  PF_PUI_NONE = 0,
  PF_PUI_TOPIC = 1L << 0,
  PF_PUI_CONTROL = 1L << 1,
  PF_PUI_STD_CONTROL_ONLY = 1L << 2,
  PF_PUI_NO_ECW_UI = 1L << 3,
  PF_PUI_ECW_SEPARATOR = 1L << 4,
  PF_PUI_DISABLED = 1L << 5,
  PF_PUI_DONT_ERASE_TOPIC = 1L << 6,
  PF_PUI_DONT_ERASE_CONTROL = 1L << 7,
  PF_PUI_RADIO_BUTTON = 1L << 8,
  PF_PUI_INVISIBLE = 1L << 9,
  PF_PUI_RESERVED = 1L << 10
};

enum {
  PF_ChangeFlag_NONE = 0,
  PF_ChangeFlag_CHANGED_VALUE = 1L << 0,
  PF_ChangeFlag_RESERVED = 1L << 1,
  PF_ChangeFlag_SET_TO_VARY = 1L << 2,
  PF_ChangeFlag_SET_TO_CONSTANT = 1L << 3
};

typedef A_short PF_ValueDisplayFlags;

enum {
  PF_ValueDisplayFlag_NONE = 0,
  PF_ValueDisplayFlag_PERCENT = 1 << 0,
  PF_ValueDisplayFlag_PIXEL = 1 << 1,
  PF_ValueDisplayFlag_RESERVED1 = 1 << 2,
  PF_ValueDisplayFlag_REVERSE = 1 << 3
};

typedef A_u_long PF_FSliderFlags;

enum {
  PF_FSliderFlag_NONE = 0,
  PF_FSliderFlag_WANT_PHASE = 1L << 0
};

// ---------------------------------------------------------------------------
// Parameter descriptions. Each holds the description and, when the host
// calls, the value at the current time.

struct PF_SliderDef {
  PF_ParamValue value;
  A_char value_str[PF_MAX_PARAM_VALUE_LEN + 1];
  A_char value_desc[PF_MAX_PARAM_DESCRIPTION_LEN + 1];
  PF_ParamValue valid_min;
  PF_ParamValue valid_max;
  PF_ParamValue slider_min;
  PF_ParamValue slider_max;
  PF_ParamValue dephault;
};

struct PF_FixedSliderDef {
  PF_Fixed value;
  A_char value_str[PF_MAX_PARAM_VALUE_LEN + 1];
  A_char value_desc[PF_MAX_PARAM_DESCRIPTION_LEN + 1];
  PF_Fixed valid_min;
  PF_Fixed valid_max;
  PF_Fixed slider_min;
  PF_Fixed slider_max;
  PF_Fixed dephault;
  PF_Precision precision;
  PF_ValueDisplayFlags display_flags;
};

struct PF_FloatSliderDef {
  PF_FpLong value;
  PF_FpLong phase;
  A_char value_desc[PF_MAX_PARAM_DESCRIPTION_LEN + 1];
  PF_FpShort valid_min;
  PF_FpShort valid_max;
  PF_FpShort slider_min;
  PF_FpShort slider_max;
  PF_FpShort dephault;
  PF_Precision precision;
  PF_ValueDisplayFlags display_flags;
  PF_FSliderFlags fs_flags;
  PF_FpShort curve_tolerance;
  PF_Boolean useExponent;
  PF_FpShort exponent;
};

// Angles are fixed-point degrees.
struct PF_AngleDef {
  PF_Fixed value;
  PF_Fixed dephault;
  PF_Fixed valid_min;
  PF_Fixed valid_max;
};

// The pointer unions carry a label when the parameter is added; the host
// flattens the text behind the record afterwards.
struct PF_CheckBoxDef {
  PF_ParamValue value;
  PF_Boolean dephault;
  A_char reserved;
  A_short reserved1;
  union {
    const A_char* nameptr;
  } u;
};

struct PF_ColorDef {
  PF_UnionablePixel value;
  PF_UnionablePixel dephault;
};

// Values in layer coordinates, defaults in percent; both 16.16 fixed.
struct PF_PointDef {
  PF_Fixed x_value;
  PF_Fixed y_value;
  A_char reserved[3];
  PF_Boolean restrict_bounds;
  PF_Fixed x_dephault;
  PF_Fixed y_dephault;
};

struct PF_Point3DDef {
  PF_FpLong x_value;
  PF_FpLong y_value;
  PF_FpLong z_value;
  PF_FpLong x_dephault;
  PF_FpLong y_dephault;
  PF_FpLong z_dephault;
  char reserved[16];
};

// namesptr is one string of choices separated by '|'.
struct PF_PopupDef {
  PF_ParamValue value;
  A_short num_choices;
  A_short dephault;
  union {
    const A_char* namesptr;
  } u;
};

struct PF_ButtonDef {
  PF_ParamValue value;
  union {
    const A_char* namesptr;
  } u;
};

typedef A_u_long PF_PathID;

enum {
  PF_PathID_NONE = 0
};

typedef A_long PF_MaskMode;

enum {
  PF_MaskMode_NONE = 0,
  PF_MaskMode_ADD,
  PF_MaskMode_SUBTRACT,
  PF_MaskMode_INTERSECT,
  PF_MaskMode_LIGHTEN,
  PF_MaskMode_DARKEN,
  PF_MaskMode_DIFFERENCE,
  PF_MaskMode_ACCUM,
  PF_NUM_MASKMODES
};

struct PF_PathDef {
  PF_PathID path_id;
  A_long reserved0;
  A_long dephault;
};

typedef PF_Handle PF_ArbitraryH;

struct PF_ArbitraryDef {
  A_short id;
  A_short pad;
  PF_ArbitraryH dephault;
  PF_ArbitraryH value;
  void* refconPV;
};

union PF_ParamDefUnion {
  PF_LayerDef ld;
  PF_SliderDef sd;
  PF_FixedSliderDef fd;
  PF_AngleDef ad;
  PF_CheckBoxDef bd;
  PF_ColorDef cd;
  PF_PointDef td;
  PF_PopupDef pd;
  PF_FloatSliderDef fs_d;
  PF_ArbitraryDef arb_d;
  PF_PathDef path_d;
  PF_ButtonDef button_d;
  PF_Point3DDef point3d_d;
};

struct PF_ParamDef {
  union {
    A_long id;
    PF_ChangeFlags change_flags;
  } uu;
  PF_ParamUIFlags ui_flags;
  A_short ui_width;
  A_short ui_height;
  PF_ParamType param_type;
  A_char name[PF_MAX_EFFECT_PARAM_NAME_LEN + 1];
  PF_ParamFlags flags;
  A_long unused;
  PF_ParamDefUnion u;
};
typedef PF_ParamDef* PF_ParamDefPtr;
typedef PF_ParamDef** PF_ParamDefH;
typedef PF_ParamDef** PF_ParamList;

// ---------------------------------------------------------------------------
// Arbitrary data parameters: PF_Cmd_ARBITRARY_CALLBACK passes a
// PF_ArbParamsExtra whose which_function picks the member of u.

typedef A_long PF_FunctionSelector;

enum {
  PF_Arbitrary_NEW_FUNC = 0,
  PF_Arbitrary_DISPOSE_FUNC,
  PF_Arbitrary_COPY_FUNC,
  PF_Arbitrary_FLAT_SIZE_FUNC,
  PF_Arbitrary_FLATTEN_FUNC,
  PF_Arbitrary_UNFLATTEN_FUNC,
  PF_Arbitrary_INTERP_FUNC,
  PF_Arbitrary_COMPARE_FUNC,
  PF_Arbitrary_PRINT_SIZE_FUNC,
  PF_Arbitrary_PRINT_FUNC,
  PF_Arbitrary_SCAN_FUNC
};

typedef A_long PF_ArbCompareResult;

enum {
  PF_ArbCompare_EQUAL = 0,
  PF_ArbCompare_LESS,
  PF_ArbCompare_MORE,
  PF_ArbCompare_NOT_EQUAL
};

typedef A_long PF_ArbPrintFlags;

enum {
  PF_ArbPrint_NONE = 0,
  PF_ArbPrint_ABBREVIATED = 1 << 0
};

struct PF_ArbParamsExtra {
  PF_FunctionSelector which_function;
  A_short id;
  A_short padding;
  union {
    struct {
      void* refconPV;
      PF_ArbitraryH* arbPH;
    } new_func_params;
    struct {
      void* refconPV;
      PF_ArbitraryH arbH;
    } dispose_func_params;
    struct {
      void* refconPV;
      PF_ArbitraryH src_arbH;
      PF_ArbitraryH* dst_arbPH;
    } copy_func_params;
    struct {
      void* refconPV;
      PF_ArbitraryH arbH;
      A_u_long* flat_data_sizePLu;
    } flat_size_func_params;
    struct {
      void* refconPV;
      PF_ArbitraryH arbH;
      A_u_long buf_sizeLu;
      void* flat_dataPV;
    } flatten_func_params;
    struct {
      void* refconPV;
      A_u_long buf_sizeLu;
      const void* flat_dataPV;
      PF_ArbitraryH* arbPH;
    } unflatten_func_params;
    struct {
      void* refconPV;
      PF_ArbitraryH left_arbH;
      PF_ArbitraryH right_arbH;
      PF_FpLong tF;
      PF_ArbitraryH* interpPH;
    } interp_func_params;
    struct {
      void* refconPV;
      PF_ArbitraryH a_arbH;
      PF_ArbitraryH b_arbH;
      PF_ArbCompareResult* compareP;
    } compare_func_params;
    struct {
      void* refconPV;
      PF_ArbitraryH arbH;
      A_u_long* print_sizePLu;
    } print_size_func_params;
    struct {
      void* refconPV;
      PF_ArbPrintFlags print_flags;
      PF_ArbitraryH arbH;
      A_u_long print_sizeLu;
      A_char* print_bufferPC;
    } print_func_params;
    struct {
      void* refconPV;
      const A_char* bufPC;
      A_u_long bytes_to_scanLu;
      PF_ArbitraryH* arbPH;
    } scan_func_params;
  } u;
};

// The extra argument of PF_Cmd_USER_CHANGED_PARAM.
struct PF_UserChangedParamExtra {
  PF_ParamIndex param_index;
};

typedef A_long PF_DepCheckType;

enum {
  PF_DepCheckType_NONE = 0,
  PF_DepCheckType_ALL_DEPENDENCIES,
  PF_DepCheckType_MISSING_DEPENDENCIES
};

// The extra argument of PF_Cmd_GET_EXTERNAL_DEPENDENCIES.
struct PF_ExtDependenciesExtra {
  PF_DepCheckType check_type;
  PF_Handle dependencies_strH;
};

#endif  // OZ_HOST_AE_AE_INTERFACE_PARAMS_H
