// Basic types, geometry, pixels and the plain constants of the host's
// plug-in interface. One piece of the declaration gathered by
// ae_interface.h.
#ifndef OZ_HOST_AE_AE_INTERFACE_TYPES_H
#define OZ_HOST_AE_AE_INTERFACE_TYPES_H

#include <cstddef>
#include <cstdint>

// ---------------------------------------------------------------------------
// Scalar types. The host fixes A_long at 32 bits on every platform, so the
// fixed-width types are used rather than C's long.

typedef int32_t A_long;
typedef uint32_t A_u_long;
typedef char A_char;
typedef unsigned char A_u_char;
typedef int16_t A_short;
typedef uint16_t A_u_short;
typedef double A_FpLong;
typedef float A_FpShort;
typedef A_long A_Err;
typedef void* A_Handle;
typedef A_long A_Fixed;
typedef A_u_long A_UFixed;
typedef uint8_t A_Boolean;
typedef intptr_t A_intptr_t;
typedef uint64_t A_u_longlong;
typedef A_u_longlong A_HandleSize;
typedef A_u_short A_UTF16Char;
typedef A_char A_LegacyEnumType;
typedef A_long A_AppID;

typedef int32_t SPErr;
typedef uint8_t SPBoolean;

typedef A_long PF_Err;
typedef A_long PF_Fixed;
typedef A_u_long PF_UFixed;
typedef A_Boolean PF_Boolean;
typedef A_FpLong PF_FpLong;
typedef A_FpShort PF_FpShort;
typedef A_long PF_ParamIndex;
typedef A_long PF_ParamValue;
typedef A_long PF_PixelFormat;
typedef A_long PF_Cmd;
typedef A_long PF_Quality;
typedef A_long PF_ModeFlags;
typedef A_long PF_Field;
typedef A_long PF_Stage;
typedef A_long PF_ParamType;
typedef A_short PF_Precision;
typedef A_long PF_ParamFlags;
typedef A_long PF_WorldFlags;
typedef A_long PF_OutFlags;
typedef A_long PF_OutFlags2;
typedef A_long PF_InFlags;
typedef A_long PF_TransferMode;
typedef PF_TransferMode PF_XferMode;
typedef A_long PF_ChannelMask;
typedef A_long PF_NewWorldFlags;
typedef A_long PF_ParamUIFlags;
typedef A_long PF_ChangeFlags;
typedef A_long PF_GPU_Framework;
typedef short PF_RenderOutputFlags;
typedef A_u_long PF_KernelFlags;
typedef A_u_long PF_SampleEdgeBehav;
typedef A_long PF_MaskFlags;
typedef A_long PF_CallbackID;
typedef A_long PF_PlatDataID;
typedef A_u_long PF_Plane;
typedef A_u_long PFVersionInfo;

// Handles are double pointers the host owns; only its callbacks may resize
// or free them.
typedef void** PF_Handle;

// Opaque host-side objects, known to the plug-in only by pointer.
struct PF_ProgressInfo;
typedef PF_ProgressInfo* PF_ProgPtr;
struct _PF_LayerAudio;
typedef _PF_LayerAudio* PF_LayerAudio;
typedef void* PF_SndSamplePtr;

// ---------------------------------------------------------------------------
// Records of the common header.

struct A_Time {
  A_long value;
  A_u_long scale;
};

struct A_Ratio {
  A_long num;
  A_u_long den;
};

struct A_FloatPoint {
  A_FpLong x;
  A_FpLong y;
};

struct A_FloatRect {
  A_FpLong left;
  A_FpLong top;
  A_FpLong right;
  A_FpLong bottom;
};

struct A_Matrix3 {
  A_FpLong mat[3][3];
};

struct A_Matrix4 {
  A_FpLong mat[4][4];
};

struct A_LRect {
  A_long left;
  A_long top;
  A_long right;
  A_long bottom;
};
typedef A_LRect A_Rect;

struct A_LPoint {
  A_long x;
  A_long y;
};

struct A_Color {
  A_FpLong alpha;
  A_FpLong red;
  A_FpLong green;
  A_FpLong blue;
};

// What PF_InData::version carries.
struct PF_SpecVersion {
  A_short major;
  A_short minor;
};

// The host names the two coordinates both h/v and x/y.
struct PF_Point {
  union {
    A_long x;
    A_long h;
  };
  union {
    A_long y;
    A_long v;
  };
};

struct PF_LRect {
  A_long left;
  A_long top;
  A_long right;
  A_long bottom;
};
typedef PF_LRect PF_Rect;
typedef PF_Rect PF_UnionableRect;

struct PF_RationalScale {
  A_long num;
  A_u_long den;
};

struct PF_FixedPoint {
  PF_Fixed x;
  PF_Fixed y;
};

struct PF_FixedRect {
  PF_Fixed left;
  PF_Fixed top;
  PF_Fixed right;
  PF_Fixed bottom;
};

struct PF_Matrix {
  PF_Fixed mat[3][3];
};

struct PF_FloatMatrix {
  PF_FpLong mat[3][3];
};

// Channel order in memory is alpha first for all three depths.
struct PF_Pixel {
  A_u_char alpha;
  A_u_char red;
  A_u_char green;
  A_u_char blue;
};
typedef PF_Pixel PF_Pixel8;
typedef PF_Pixel PF_UnionablePixel;
typedef PF_Pixel* PF_PixelPtr;

struct PF_Pixel16 {
  A_u_short alpha;
  A_u_short red;
  A_u_short green;
  A_u_short blue;
};

struct PF_PixelFloat {
  PF_FpShort alpha;
  PF_FpShort red;
  PF_FpShort green;
  PF_FpShort blue;
};
typedef PF_PixelFloat PF_Pixel32;

struct PF_CompositeMode {
  PF_TransferMode xfer;
  A_long rand_seed;
  A_u_char opacity;
  PF_Boolean rgb_only;
  A_u_short opacitySu;
};

// ---------------------------------------------------------------------------
// Limits and names.

enum {
  PF_MAX_EFFECT_NAME_LEN = 31,
  PF_MAX_EFFECT_CATEGORY_NAME_LEN = 31,
  PF_MAX_EFFECT_PARAM_NAME_LEN = 31,
  PF_MAX_PARAM_DESCRIPTION_LEN = 31,
  PF_MAX_PARAM_VALUE_LEN = 31,
  PF_MAX_EFFECT_MSG_LEN = 255,
  PF_MAX_WORLD_WIDTH = 30000,
  PF_MAX_WORLD_HEIGHT = 30000,
  PF_FIRST_ERR = 512
};

enum {
  PF_MAX_CHAN8 = 255,
  PF_HALF_CHAN8 = 128,
  PF_MAX_CHAN16 = 32768,
  PF_HALF_CHAN16 = 16384
};

// The interface level this declaration follows.
enum {
  PF_PLUG_IN_VERSION = 13,
  PF_PLUG_IN_SUBVERS = 29
};

// Bit fields of PF_OutData::my_version.
enum {
  PF_Vers_BUILD_BITS = 0x1ff,
  PF_Vers_BUILD_SHIFT = 0,
  PF_Vers_STAGE_BITS = 0x3,
  PF_Vers_STAGE_SHIFT = 9,
  PF_Vers_BUGFIX_BITS = 0xf,
  PF_Vers_BUGFIX_SHIFT = 11,
  PF_Vers_SUBVERS_BITS = 0xf,
  PF_Vers_SUBVERS_SHIFT = 15,
  PF_Vers_VERS_BITS = 0x7,
  PF_Vers_VERS_SHIFT = 19,
  PF_Vers_VERS_HIGH_BITS = 0xf,
  PF_Vers_VERS_HIGH_SHIFT = 26,
  PF_Vers_VERS_LOW_SHIFT = 3
};

enum {
  PF_Stage_DEVELOP,
  PF_Stage_ALPHA,
  PF_Stage_BETA,
  PF_Stage_RELEASE
};

#define PF_Category_BLUR_AND_SHARPEN "Blur & Sharpen"
#define PF_Category_CHANNEL "Channel"
#define PF_Category_DISTORT "Distort"
#define PF_Category_IMAGE_CONTROL "Image Control"
#define PF_Category_KEYING "Keying"
#define PF_Category_PERSPECTIVE "Perspective"
#define PF_Category_STYLIZE "Stylize"
#define PF_Category_TEXT "Text"
#define PF_Category_VIDEO "Video"
#define PF_Category_TRANSITION "Transition"
#define PF_Category_AUDIO "Audio"
#define PF_Category_OTHER "Other"

// ---------------------------------------------------------------------------
// Error codes.

enum {
  A_Err_NONE = 0,
  A_Err_GENERIC,
  A_Err_STRUCT,
  A_Err_PARAMETER,
  A_Err_ALLOC,
  A_Err_WRONG_THREAD,
  A_Err_CONST_PROJECT_MODIFICATION,
  A_Err_RESERVED_7,
  A_Err_RESERVED_8,
  A_Err_RESERVED_9,
  A_Err_RESERVED_10,
  A_Err_RESERVED_11,
  A_Err_RESERVED_12,
  A_Err_MISSING_SUITE,
  A_Err_RESERVED_14,
  A_Err_RESERVED_15,
  A_Err_RESERVED_16,
  A_Err_RESERVED_17,
  A_Err_RESERVED_18,
  A_Err_RESERVED_19,
  A_Err_RESERVED_20,
  A_Err_RESERVED_21,
  A_Err_NOT_IN_CACHE_OR_COMPUTE_PENDING,
  A_Err_PROJECT_LOAD_FATAL,
  A_Err_EFFECT_APPLY_FATAL,
  A_Err_LAST
};

enum {
  PF_Err_NONE = 0,
  PF_Err_OUT_OF_MEMORY = 4,
  PF_Err_INTERNAL_STRUCT_DAMAGED = PF_FIRST_ERR,
  PF_Err_INVALID_INDEX,           // 513
  PF_Err_UNRECOGNIZED_PARAM_TYPE, // 514
  PF_Err_INVALID_CALLBACK,        // 515
  PF_Err_BAD_CALLBACK_PARAM,      // 516
  PF_Interrupt_CANCEL,            // 517
  PF_Err_CANNOT_PARSE_KEYFRAME_TEXT // 518
};

enum {
  kSPNoError = 0
};

// ---------------------------------------------------------------------------
// Command selectors passed as the first argument of the entry point.

enum {
  PF_Cmd_ABOUT = 0,
  PF_Cmd_GLOBAL_SETUP,              // 1
  PF_Cmd_UNUSED_0,                  // 2
  PF_Cmd_GLOBAL_SETDOWN,            // 3
  PF_Cmd_PARAMS_SETUP,              // 4
  PF_Cmd_SEQUENCE_SETUP,            // 5
  PF_Cmd_SEQUENCE_RESETUP,          // 6
  PF_Cmd_SEQUENCE_FLATTEN,          // 7
  PF_Cmd_SEQUENCE_SETDOWN,          // 8
  PF_Cmd_DO_DIALOG,                 // 9
  PF_Cmd_FRAME_SETUP,               // 10
  PF_Cmd_RENDER,                    // 11
  PF_Cmd_FRAME_SETDOWN,             // 12
  PF_Cmd_USER_CHANGED_PARAM,        // 13
  PF_Cmd_UPDATE_PARAMS_UI,          // 14
  PF_Cmd_EVENT,                     // 15
  PF_Cmd_GET_EXTERNAL_DEPENDENCIES, // 16
  PF_Cmd_COMPLETELY_GENERAL,        // 17
  PF_Cmd_QUERY_DYNAMIC_FLAGS,       // 18
  PF_Cmd_AUDIO_RENDER,              // 19
  PF_Cmd_AUDIO_SETUP,               // 20
  PF_Cmd_AUDIO_SETDOWN,             // 21
  PF_Cmd_ARBITRARY_CALLBACK,        // 22
  PF_Cmd_SMART_PRE_RENDER,          // 23
  PF_Cmd_SMART_RENDER,              // 24
  PF_Cmd_RESERVED1,                 // 25
  PF_Cmd_RESERVED2,                 // 26
  PF_Cmd_RESERVED3,                 // 27
  PF_Cmd_GET_FLATTENED_SEQUENCE_DATA, // 28
  PF_Cmd_TRANSLATE_PARAMS_TO_PREFS, // 29
  PF_Cmd_RESERVED4,                 // 30
  PF_Cmd_SMART_RENDER_GPU,          // 31
  PF_Cmd_GPU_DEVICE_SETUP,          // 32
  PF_Cmd_GPU_DEVICE_SETDOWN,        // 33
  PF_Cmd_NUM_CMDS                   // 34
};

// ---------------------------------------------------------------------------
// Render context.

enum {
  PF_Quality_DRAWING_AUDIO = -1,
  PF_Quality_LO = 0,
  PF_Quality_HI
};

enum {
  PF_MF_Alpha_PREMUL = 0,
  PF_MF_Alpha_STRAIGHT = 1
};

enum {
  PF_Field_FRAME = 0,
  PF_Field_UPPER,
  PF_Field_LOWER
};

enum {
  PF_InFlag_NONE = 0,
  PF_InFlag_PROJECT_IS_RENDER_ONLY = 1 << 0
};

// ---------------------------------------------------------------------------
// Output flags, set in PF_OutData::out_flags. Bit 31 is used, so this
// enumeration is unsigned.

enum {
  PF_OutFlag_NONE = 0,
  PF_OutFlag_KEEP_RESOURCE_OPEN = 1L << 0,
  PF_OutFlag_WIDE_TIME_INPUT = 1L << 1,
  PF_OutFlag_NON_PARAM_VARY = 1L << 2,
  PF_OutFlag_RESERVED6 = 1L << 3,
  PF_OutFlag_SEQUENCE_DATA_NEEDS_FLATTENING = 1L << 4,
  PF_OutFlag_I_DO_DIALOG = 1L << 5,
  PF_OutFlag_USE_OUTPUT_EXTENT = 1L << 6,
  PF_OutFlag_SEND_DO_DIALOG = 1L << 7,
  PF_OutFlag_DISPLAY_ERROR_MESSAGE = 1L << 8,
  PF_OutFlag_I_EXPAND_BUFFER = 1L << 9,
  PF_OutFlag_PIX_INDEPENDENT = 1L << 10,
  PF_OutFlag_I_WRITE_INPUT_BUFFER = 1L << 11,
  PF_OutFlag_I_SHRINK_BUFFER = 1L << 12,
  PF_OutFlag_WORKS_IN_PLACE = 1L << 13,
  PF_OutFlag_RESERVED8 = 1L << 14,
  PF_OutFlag_CUSTOM_UI = 1L << 15,
  PF_OutFlag_RESERVED7 = 1L << 16,
  PF_OutFlag_REFRESH_UI = 1L << 17,
  PF_OutFlag_NOP_RENDER = 1L << 18,
  PF_OutFlag_I_USE_SHUTTER_ANGLE = 1L << 19,
  PF_OutFlag_I_USE_AUDIO = 1L << 20,
  PF_OutFlag_I_AM_OBSOLETE = 1L << 21,
  PF_OutFlag_FORCE_RERENDER = 1L << 22,
  PF_OutFlag_PiPL_OVERRIDES_OUTDATA_OUTFLAGS = 1L << 23,
  PF_OutFlag_I_HAVE_EXTERNAL_DEPENDENCIES = 1L << 24,
  PF_OutFlag_DEEP_COLOR_AWARE = 1L << 25,
  PF_OutFlag_SEND_UPDATE_PARAMS_UI = 1L << 26,
  PF_OutFlag_AUDIO_FLOAT_ONLY = 1L << 27,
  PF_OutFlag_AUDIO_IIR = 1L << 28,
  PF_OutFlag_I_SYNTHESIZE_AUDIO = 1L << 29,
  PF_OutFlag_AUDIO_EFFECT_TOO = 1L << 30,
  PF_OutFlag_AUDIO_EFFECT_ONLY = 1UL << 31
};

// Second word of output flags, PF_OutData::out_flags2.
enum {
  PF_OutFlag2_NONE = 0,
  PF_OutFlag2_SUPPORTS_QUERY_DYNAMIC_FLAGS = 1L << 0,
  PF_OutFlag2_I_USE_3D_CAMERA = 1L << 1,
  PF_OutFlag2_I_USE_3D_LIGHTS = 1L << 2,
  PF_OutFlag2_PARAM_GROUP_START_COLLAPSED_FLAG = 1L << 3,
  PF_OutFlag2_I_AM_THREADSAFE = 1L << 4,
  PF_OutFlag2_CAN_COMBINE_WITH_DESTINATION = 1L << 5,
  PF_OutFlag2_DOESNT_NEED_EMPTY_PIXELS = 1L << 6,
  PF_OutFlag2_REVEALS_ZERO_ALPHA = 1L << 7,
  PF_OutFlag2_PRESERVES_FULLY_OPAQUE_PIXELS = 1L << 8,
  PF_OutFlag2_SUPPORTS_SMART_RENDER = 1L << 10,
  PF_OutFlag2_RESERVED9 = 1L << 11,
  PF_OutFlag2_FLOAT_COLOR_AWARE = 1L << 12,
  PF_OutFlag2_I_USE_COLORSPACE_ENUMERATION = 1L << 13,
  PF_OutFlag2_I_AM_DEPRECATED = 1L << 14,
  PF_OutFlag2_PPRO_DO_NOT_CLONE_SEQUENCE_DATA_FOR_RENDER = 1L << 15,
  PF_OutFlag2_RESERVED10 = 1L << 16,
  PF_OutFlag2_AUTOMATIC_WIDE_TIME_INPUT = 1L << 17,
  PF_OutFlag2_I_USE_TIMECODE = 1L << 18,
  PF_OutFlag2_DEPENDS_ON_UNREFERENCED_MASKS = 1L << 19,
  PF_OutFlag2_OUTPUT_IS_WATERMARKED = 1L << 20,
  PF_OutFlag2_I_MIX_GUID_DEPENDENCIES = 1L << 21,
  PF_OutFlag2_AE13_5_THREADSAFE = 1L << 22,
  PF_OutFlag2_SUPPORTS_GET_FLATTENED_SEQUENCE_DATA = 1L << 23,
  PF_OutFlag2_CUSTOM_UI_ASYNC_MANAGER = 1L << 24,
  PF_OutFlag2_SUPPORTS_GPU_RENDER_F32 = 1L << 25,
  PF_OutFlag2_RESERVED12 = 1L << 26,
  PF_OutFlag2_SUPPORTS_THREADED_RENDERING = 1L << 27,
  PF_OutFlag2_MUTABLE_RENDER_SEQUENCE_DATA_SLOWER = 1L << 28,
  PF_OutFlag2_SUPPORTS_DIRECTX_RENDERING = 1L << 29
};

// ---------------------------------------------------------------------------
// Images.

enum {
  PF_WorldFlag_DEEP = 1L << 0,
  PF_WorldFlag_WRITEABLE = 1L << 1,
  PF_WorldFlag_RESERVED0 = 1L << 24,
  PF_WorldFlag_RESERVED1 = 1L << 25,
  PF_WorldFlag_RESERVED2 = 1L << 26,
  PF_WorldFlag_RESERVED3 = 1L << 27,
  PF_WorldFlag_RESERVED4 = 1L << 28,
  PF_WorldFlag_RESERVED5 = 1L << 29,
  PF_WorldFlag_RESERVED6 = 1L << 30,
  PF_WorldFlag_RESERVED = 1UL << 31
};

enum {
  PF_NewWorldFlag_NONE = 0,
  PF_NewWorldFlag_CLEAR_PIXELS = 1L << 0,
  PF_NewWorldFlag_DEEP_PIXELS = 1L << 1,
  PF_NewWorldFlag_RESERVED0 = 1L << 2,
  PF_NewWorldFlag_RESERVED1 = 1L << 3
};

// Pixel formats are four characters stored first-byte-lowest, so that the
// bytes read "argb", "ae16", ... in memory. Typed as A_long so comparing
// with a PF_PixelFormat does not mix signedness; FORCE_LONG_INT is the
// all-ones word the host uses to size the enumeration.
enum : A_long {
  PF_PixelFormat_ARGB32 = 0x62677261,          // "argb"
  PF_PixelFormat_ARGB64 = 0x36316561,          // "ae16"
  PF_PixelFormat_ARGB128 = 0x32336561,         // "ae32"
  PF_PixelFormat_GPU_BGRA128 = 0x41444340,
  PF_PixelFormat_RESERVED = 0x61444340,
  PF_PixelFormat_BGRA32 = 0x61726762,          // "bgra"
  PF_PixelFormat_VUYA32 = 0x61797576,          // "vuya"
  PF_PixelFormat_NTSCDV25 = 0x326e7664,        // "dvn2"
  PF_PixelFormat_PALDV25 = 0x32707664,         // "dvp2"
  PF_PixelFormat_INVALID = 0x66646162,         // "badf"
  PF_PixelFormat_FORCE_LONG_INT = -1
};

enum {
  PF_ChannelMask_ALPHA = 0x1,
  PF_ChannelMask_RED = 0x2,
  PF_ChannelMask_GREEN = 0x4,
  PF_ChannelMask_BLUE = 0x8,
  PF_ChannelMask_ARGB = 0xF
};

enum {
  PF_Plane_ALPHA = 1,
  PF_Plane_RED = 2,
  PF_Plane_GREEN = 4,
  PF_Plane_BLUE = 8
};

// Asks the host to pick one iteration per processor.
enum {
  PF_Iterations_ONCE_PER_PROCESSOR = -1
};

enum {
  PF_GPU_Framework_NONE = 0,
  PF_GPU_Framework_OPENCL,
  PF_GPU_Framework_METAL,
  PF_GPU_Framework_CUDA,
  PF_GPU_Framework_DIRECTX
};

enum {
  PF_RenderOutputFlag_RETURNS_EXTRA_PIXELS = 0x1,
  PF_RenderOutputFlag_GPU_RENDER_POSSIBLE = 0x2,
  PF_RenderOutputFlag_RESERVED1 = 0x4
};

enum {
  PF_KernelFlag_2D = 0,
  PF_KernelFlag_1D = 1 << 0,
  PF_KernelFlag_UNNORMALIZED = 0,
  PF_KernelFlag_NORMALIZED = 1 << 1,
  PF_KernelFlag_CLAMP = 0,
  PF_KernelFlag_NO_CLAMP = 1 << 2,
  PF_KernelFlag_USE_LONG = 0,
  PF_KernelFlag_USE_CHAR = 1 << 3,
  PF_KernelFlag_USE_FIXED = 1 << 4,
  PF_KernelFlag_USE_UNDEFINED = (1 << 3) | (1 << 4),
  PF_KernelFlag_HORIZONTAL = 0,
  PF_KernelFlag_VERTICAL = 1 << 5,
  PF_KernelFlag_TRANSPARENT_BORDERS = 0,
  PF_KernelFlag_REPLICATE_BORDERS = 1 << 6,
  PF_KernelFlag_STRAIGHT_CONVOLVE = 0,
  PF_KernelFlag_ALPHA_WEIGHT_CONVOLVE = 1 << 7
};

enum {
  PF_SampleEdgeBehav_ZERO = 0
};

enum {
  PF_MaskFlag_NONE = 0,
  PF_MaskFlag_INVERTED = 1L << 0,
  PF_MaskFlag_LUMINANCE = 1L << 1
};

enum {
  PF_Xfer_NONE = -1,
  PF_Xfer_COPY = 0,
  PF_Xfer_BEHIND,
  PF_Xfer_IN_FRONT,
  PF_Xfer_DISSOLVE,
  PF_Xfer_ADD,
  PF_Xfer_MULTIPLY,
  PF_Xfer_SCREEN,
  PF_Xfer_OVERLAY,
  PF_Xfer_SOFT_LIGHT,
  PF_Xfer_HARD_LIGHT,
  PF_Xfer_DARKEN,
  PF_Xfer_LIGHTEN,
  PF_Xfer_DIFFERENCE,
  PF_Xfer_HUE,
  PF_Xfer_SATURATION,
  PF_Xfer_COLOR,
  PF_Xfer_LUMINOSITY,
  PF_Xfer_MULTIPLY_ALPHA,
  PF_Xfer_MULTIPLY_ALPHA_LUMA,
  PF_Xfer_MULTIPLY_NOT_ALPHA,
  PF_Xfer_MULTIPLY_NOT_ALPHA_LUMA,
  PF_Xfer_ADDITIVE_PREMUL,
  PF_Xfer_ALPHA_ADD,
  PF_Xfer_COLOR_DODGE,
  PF_Xfer_COLOR_BURN,
  PF_Xfer_EXCLUSION,
  PF_Xfer_DIFFERENCE2,
  PF_Xfer_COLOR_DODGE2,
  PF_Xfer_COLOR_BURN2,
  PF_Xfer_LINEAR_DODGE,
  PF_Xfer_LINEAR_BURN,
  PF_Xfer_LINEAR_LIGHT,
  PF_Xfer_VIVID_LIGHT,
  PF_Xfer_PIN_LIGHT,
  PF_Xfer_HARD_MIX,
  PF_Xfer_LIGHTER_COLOR,
  PF_Xfer_DARKER_COLOR,
  PF_Xfer_SUBTRACT,
  PF_Xfer_DIVIDE,
  PF_Xfer_RESERVED0,
  PF_Xfer_RESERVED1,
  PF_Xfer_NUM_MODES // 41
};

enum {
  PF_PlatData_MAIN_WND = 0,
  PF_PlatData_EXE_FILE_PATH_DEPRECATED,
  PF_PlatData_RES_FILE_PATH_DEPRECATED,
  PF_PlatData_RES_REFNUM,
  PF_PlatData_RES_DLLINSTANCE,
  PF_PlatData_SP_PLUG_REF,
  PF_PlatData_BUNDLE_REF,
  PF_PlatData_EXE_FILE_PATH_W,
  PF_PlatData_RES_FILE_PATH_W
};

#endif  // OZ_HOST_AE_AE_INTERFACE_TYPES_H
