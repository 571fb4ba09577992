// PF_Cmd_PARAMS_SETUP: each record of the store becomes one or two host
// parameter definitions, added in record order behind the input layer.

#include <cstring>
#include <memory>
#include <string>

#include "host/ae/host.h"
#include "host/ae/parameters.h"

namespace OZ::Host::AE {
namespace {

using namespace OZ::Host::Param;

constexpr std::uint32_t kArbitraryRefconTag = 0x1000;  // marks the arbitrary parameters as ours
constexpr std::uint32_t kPopupIdTag = 0x8000;          // a string choice's popup: its text's id, tagged

// The kinds whose definition may take the record's own value for projects
// saved before the control existed.
bool honoursOldProjectValue(std::uint32_t kind) {
  return kind == kInt || kind == kFloat || kind == kBool || kind == kChoice || kind == kColor || kind == kPoint;
}

// The value a definition starts with: the default, unless old projects get
// the record's own value.
const ParamValue& startingValue(const ParamRecord& record) {
  return record.flags & kOldProjectValue ? record.value : record.defaultValue;
}

void applyRecordFlags(PF_ParamDef& def, const ParamRecord& record) {
  if (record.flags & kHidden) def.ui_flags = PF_PUI_INVISIBLE | PF_PUI_NO_ECW_UI;
  if (record.flags & kNoTimeVary) def.flags |= PF_ParamFlag_CANNOT_TIME_VARY;
  if (record.flags & kNoInterp) def.flags |= PF_ParamFlag_CANNOT_INTERP;
  if (record.flags & kCollapsed) def.flags |= PF_ParamFlag_COLLAPSE_TWIRLY;
  if (record.flags & kSupervise) def.flags |= PF_ParamFlag_SUPERVISE;
  if (record.flags & kOldProjectValue && honoursOldProjectValue(record.kind))
    def.flags |= PF_ParamFlag_USE_VALUE_FOR_OLD_PROJECTS;
}

A_u_char colorByte(double component) { return A_u_char(A_long(component * 255.0)); }

PF_Pixel colorPixel(const ParamValue& value) {
  const ParamColor color = value.asColor();
  return {255, colorByte(color.red), colorByte(color.green), colorByte(color.blue)};
}

// 1-based position of `text` among the labels; 1 when it is not there.
A_long choiceOf(const ParamRecord& record, const std::string& text) {
  for (std::size_t i = 0; i < record.labels.size(); ++i)
    if (record.labels[i] == text) return A_long(i) + 1;
  return 1;
}

std::string joinedLabels(const ParamRecord& record) {
  std::string joined;
  for (std::size_t i = 0; i < record.labels.size(); ++i) {
    if (i) joined += '|';
    joined += record.labels[i];
  }
  return joined;
}

// One record's definitions on their way to the host.
class Definer {
 public:
  Definer(Host& host, const ParamRecord& record, std::uint32_t id) : host_(host), record_(record), id_(id) {}

  // Adds the record's definitions; `count` grows by one per definition the
  // host took. 0 or the host's code.
  PF_Err add(PF_ParamDef def, A_long& count) {
    def.uu.id = A_long(id_);
    switch (record_.kind) {
      case kNone:
      case kReserved:
        if (record_.flags & kSupervise) ++count;  // takes an index, though nothing is added
        return PF_Err_NONE;
      case kInt:
        defineSlider(def);
        break;
      case kFloat:
        record_.flags & kAngle ? defineAngle(def) : defineFloatSlider(def);
        break;
      case kBool:
        def.param_type = PF_Param_CHECKBOX;
        def.u.bd.value = startingValue(record_).asBool();
        def.u.bd.dephault = record_.defaultValue.asBool();
        def.u.bd.u.nameptr = record_.name.c_str();  // the label beside the box; the name stays empty
        return submit(def, count);
      case kString: {
        named(def, record_.name);
        const PF_Err error = defineArbitraryString(def, record_.defaultValue.text);
        return error ? error : submit(def, count);
      }
      case kChoice: {
        defineChoice(def, startingValue(record_).asInt() + 1, record_.defaultValue.asInt() + 1);
        return submit(def, count);
      }
      case kStringChoice:
        return addStringChoice(def, count);
      case kColor:
        named(def, record_.name);
        def.param_type = PF_Param_COLOR;
        def.u.cd.value = colorPixel(startingValue(record_));
        def.u.cd.dephault = colorPixel(record_.defaultValue);
        break;
      case kPoint:
        definePoint(def);
        break;
      case kGroupStart:
        named(def, record_.name);
        def.param_type = PF_Param_GROUP_START;
        break;
      case kGroupEnd:
        def.param_type = PF_Param_GROUP_END;
        break;
      case kLayer:
        named(def, record_.name);
        def.param_type = PF_Param_LAYER;
        def.u.ld.dephault = record_.flags & kLayerDefaultSelf ? PF_LayerDefault_MYSELF : PF_LayerDefault_NONE;
        break;
      case kPath: {
        named(def, record_.name);
        def.param_type = PF_Param_PATH;
        def.u.path_d.dephault = 0;
        // A host without mask paths refuses this one; the effect goes on without it.
        const PF_Err error = host_.inData->inter.add_param(host_.inData->effect_ref, -1, &def);
        if (error == PF_Err_NONE) ++count;
        return PF_Err_NONE;
      }
      default:
        return PF_Err_NONE;  // a kind this adapter does not know
    }
    return submit(def, count);
  }

 private:
  void named(PF_ParamDef& def, const std::string& name) { host_.copyName(def.name, name); }

  PF_Err submit(PF_ParamDef& def, A_long& count) {
    const PF_Err error = host_.inData->inter.add_param(host_.inData->effect_ref, -1, &def);
    if (error != PF_Err_NONE) {
      // The host did not take the default text's handle.
      if (def.param_type == PF_Param_ARBITRARY_DATA && def.u.arb_d.dephault) host_.disposeHandle(def.u.arb_d.dephault);
      return error;
    }
    ++count;
    return PF_Err_NONE;
  }

  void defineSlider(PF_ParamDef& def) {
    named(def, record_.name);
    def.param_type = PF_Param_SLIDER;
    def.u.sd.value = startingValue(record_).asInt();
    def.u.sd.valid_min = record_.validMin.asInt();
    def.u.sd.valid_max = record_.validMax.asInt();
    def.u.sd.slider_min = record_.sliderMin.asInt();
    def.u.sd.slider_max = record_.sliderMax.asInt();
    def.u.sd.dephault = record_.defaultValue.asInt();
  }

  void defineFloatSlider(PF_ParamDef& def) {
    named(def, record_.name);
    def.param_type = PF_Param_FLOAT_SLIDER;
    // Without an old-project value the host sees the default as it keeps
    // it, through 32 bits.
    def.u.fs_d.value = record_.flags & kOldProjectValue ? record_.value.asFloat()
                                                         : double(float(record_.defaultValue.asFloat()));
    def.u.fs_d.valid_min = float(record_.validMin.asFloat());
    def.u.fs_d.valid_max = float(record_.validMax.asFloat());
    def.u.fs_d.slider_min = float(record_.sliderMin.asFloat());
    def.u.fs_d.slider_max = float(record_.sliderMax.asFloat());
    def.u.fs_d.dephault = float(record_.defaultValue.asFloat());
    def.u.fs_d.curve_tolerance = 0.05f;
    const bool percent = record_.flags & kPercent;
    def.u.fs_d.precision = percent ? PF_Precision_TENTHS : PF_Precision_HUNDREDTHS;
    def.u.fs_d.display_flags = percent ? PF_ValueDisplayFlag_PERCENT : PF_ValueDisplayFlag_NONE;
  }

  void defineAngle(PF_ParamDef& def) {
    named(def, record_.name);
    def.param_type = PF_Param_ANGLE;
    def.u.ad.value = PF_Fixed(startingValue(record_).asFloat() * 65536.0);
    def.u.ad.dephault = PF_Fixed(record_.defaultValue.asFloat() * 65536.0);
  }

  // Defaults are percentages of the layer in 16.16; a saved value is in
  // the same units without the truncation to whole percent.
  void definePoint(PF_ParamDef& def) {
    named(def, record_.name);
    def.param_type = PF_Param_POINT;
    const ParamPoint fallback = record_.defaultValue.asPoint();
    def.u.td.x_dephault = PF_Fixed(A_long(fallback.x * 100.0) << 16);
    def.u.td.y_dephault = PF_Fixed(A_long(fallback.y * 100.0) << 16);
    const ParamPoint low = record_.validMin.asPoint(), high = record_.validMax.asPoint();
    def.u.td.restrict_bounds = low.x == 0.0 && low.y == 0.0 && high.x == 1.0 && high.y == 1.0;
    if (record_.flags & kOldProjectValue) {
      const ParamPoint saved = record_.value.asPoint();
      def.u.td.x_value = PF_Fixed(saved.x * 100.0 * 65536.0);
      def.u.td.y_value = PF_Fixed(saved.y * 100.0 * 65536.0);
    } else {
      def.u.td.x_value = def.u.td.x_dephault;
      def.u.td.y_value = def.u.td.y_dephault;
    }
  }

  void defineChoice(PF_ParamDef& def, A_long value, A_long fallback) {
    named(def, record_.name);
    labels_ = joinedLabels(record_);  // must outlive add_param
    def.param_type = PF_Param_POPUP;
    def.u.pd.value = value;
    def.u.pd.dephault = A_short(fallback);
    def.u.pd.num_choices = A_short(record_.labels.size());
    def.u.pd.u.namesptr = labels_.c_str();
  }

  // The text lives in a host handle holding it with its terminating zero;
  // the value stays null until the host makes one from the default.
  PF_Err defineArbitraryString(PF_ParamDef& def, const std::string& text) {
    def.param_type = PF_Param_ARBITRARY_DATA;
    PF_Handle handle = host_.newHandle(text.size() + 1);
    if (!handle) return PF_Err_OUT_OF_MEMORY;
    void* bytes = host_.lockHandle(handle);
    if (!bytes) {
      host_.disposeHandle(handle);
      return PF_Err_OUT_OF_MEMORY;
    }
    std::memcpy(bytes, text.c_str(), text.size() + 1);
    host_.unlockHandle(handle);
    def.u.arb_d.dephault = handle;
    def.u.arb_d.value = nullptr;
    def.u.arb_d.pad = 0;
    def.u.arb_d.id = A_short(id_);
    def.u.arb_d.refconPV = reinterpret_cast<void*>(std::uintptr_t(id_ | kArbitraryRefconTag));
    def.flags &= ~A_long(PF_ParamFlag_CANNOT_INTERP | PF_ParamFlag_SUPERVISE);
    if (!(def.ui_flags & (PF_PUI_TOPIC | PF_PUI_CONTROL))) def.ui_flags |= PF_PUI_NO_ECW_UI;
    return PF_Err_NONE;
  }

  // The text, hidden, then a popup of the labels that the user sees.
  PF_Err addStringChoice(const PF_ParamDef& saved, A_long& count) {
    PF_ParamDef text = saved;
    named(text, record_.name + " String");
    text.ui_flags = PF_PUI_NO_ECW_UI;
    text.ui_width = text.ui_height = 0;
    PF_Err error = defineArbitraryString(text, record_.defaultValue.text);
    if (!error) error = submit(text, count);
    if (error) return error;

    PF_ParamDef popup = saved;
    popup.flags |= PF_ParamFlag_SUPERVISE | PF_ParamFlag_CANNOT_TIME_VARY | PF_ParamFlag_CANNOT_INTERP;
    popup.ui_flags = PF_PUI_STD_CONTROL_ONLY;
    popup.uu.id = A_long(id_ | kPopupIdTag);
    defineChoice(popup, choiceOf(record_, record_.value.text), choiceOf(record_, record_.defaultValue.text));
    return submit(popup, count);
  }

  Host& host_;
  const ParamRecord& record_;
  std::uint32_t id_;
  std::string labels_;
};

}  // namespace

PF_Err Host::paramsSetup() {
  const std::unique_ptr<Store> store(makeParameters());
  defineParameters(*store);
  outData->num_params = 0;
  if (store->records.empty()) {
    outData->num_params = 1;
    return PF_Err_NONE;
  }
  A_long count = 1;  // the input layer
  std::uint32_t nextId = 1;
  for (std::size_t position = 0; position < store->records.size(); ++position) {
    const ParamRecord& record = store->records[position];
    if (!wantsParam(record)) continue;
    PF_ParamDef def{};
    applyRecordFlags(def, record);
    // Saved projects tie values to these ids: they must never change.
    const std::uint32_t id = paramIds ? paramIds[position] : nextId++;
    std::int32_t uiWidth = 0, uiHeight = 0;
    if (customUiSize(record, uiWidth, uiHeight)) {
      def.ui_flags |= PF_PUI_CONTROL;
      def.ui_width = A_short(uiWidth);
      def.ui_height = A_short(uiHeight);
    }
    const PF_Err error = Definer(*this, record, id).add(def, count);
    if (error != PF_Err_NONE) return error;
  }
  outData->num_params = count;
  return PF_Err_NONE;
}

}  // namespace OZ::Host::AE
