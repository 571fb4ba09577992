#include "host/ae/parameters.h"

#include <cstring>
#include <new>

#include "host/ae/host.h"
#include "host/ae/param_access.h"
#include "host/ae/param_index.h"

namespace OZ::Host::AE {
namespace {

using namespace OZ::Host::Param;

// ---- reading a definition ----------------------------------------------------

double floatOf(Host& host, const ParamRecord& record, const PF_ParamDef& def) {
  if (!(record.flags & kAngle)) return def.u.fs_d.value;
  A_FpLong degrees = 0.0;
  if (host.angleParamSuite &&
      host.angleParamSuite->PF_GetFloatingPointValueFromAngleDef(host.inData->effect_ref, &def, &degrees) ==
          PF_Err_NONE)
    return degrees;
  return def.u.ad.value / 65536.0;
}

std::int32_t intOf(const ParamRecord& record, const PF_ParamDef& def) {
  // Popups count from 1, the store's choices from 0.
  return def.u.sd.value - (record.kind == kChoice ? 1 : 0);
}

bool boolOf(const PF_ParamDef& def) { return def.u.bd.value != 0; }

ParamColor colorOf(Host& host, const PF_ParamDef& def) {
  PF_PixelFloat precise{};
  if (host.colorParamSuite &&
      host.colorParamSuite->PF_GetFloatingPointColorFromColorDef(host.inData->effect_ref, &def, &precise) ==
          PF_Err_NONE)
    return {precise.red, precise.green, precise.blue};
  const PF_Pixel& bytes = def.u.cd.value;
  return {bytes.red / 255.0, bytes.green / 255.0, bytes.blue / 255.0};
}

// In the layer's pixels as the host keeps them: no downsample is undone.
ParamPoint pointOf(const PF_ParamDef& def) {
  return {def.u.td.x_value * (1.0 / 65536.0), def.u.td.y_value * (1.0 / 65536.0)};
}

// The text up to its zero; a block without one ends at its size.
std::string stringOf(Host& host, const PF_ParamDef& def) {
  PF_Handle handle = def.u.arb_d.value;
  if (!handle) return {};
  const std::uint64_t size = host.handleSize(handle);
  const char* bytes = static_cast<const char*>(host.lockHandle(handle));
  if (!bytes) return {};
  std::string text(bytes, ::strnlen(bytes, std::size_t(size)));
  host.unlockHandle(handle);
  return text;
}

std::uint32_t rawOf(const PF_ParamDef& def) {
  std::uint32_t word;
  std::memcpy(&word, &def.u, sizeof word);
  return word;
}

// ---- writing into a definition -----------------------------------------------

void markChanged(PF_ParamDef& def) { def.uu.change_flags |= PF_ChangeFlag_CHANGED_VALUE; }

void writeFloat(const ParamRecord& record, PF_ParamDef& def, double value) {
  if (record.flags & kAngle)
    def.u.ad.value = PF_Fixed(value * 65536.0);
  else
    def.u.fs_d.value = value;
  markChanged(def);
}

void writeInt(const ParamRecord& record, PF_ParamDef& def, std::int32_t value) {
  def.u.sd.value = value + (record.kind == kChoice ? 1 : 0);
  markChanged(def);
}

void writeBool(PF_ParamDef& def, bool value) {
  def.u.bd.value = A_u_char(value);
  markChanged(def);
}

void writeColor(PF_ParamDef& def, const ParamColor& color) {
  def.u.cd.value.red = A_u_char(A_long(color.red * 255.0));
  def.u.cd.value.green = A_u_char(A_long(color.green * 255.0));
  def.u.cd.value.blue = A_u_char(A_long(color.blue * 255.0));
  markChanged(def);
}

void writePoint(Host& host, PF_ParamDef& def, const ParamPoint& point) {
  float downsampleX = 1.0f, downsampleY = 1.0f;
  host.getDownsample(downsampleX, downsampleY);
  def.u.td.x_value = PF_Fixed(point.x / double(downsampleX) * 65536.0);
  def.u.td.y_value = PF_Fixed(point.y / double(downsampleY) * 65536.0);
  markChanged(def);
}

void writeString(Host& host, PF_ParamDef& def, const std::string& text) {
  PF_Handle& handle = def.u.arb_d.value;
  const std::uint64_t bytes = text.size() + 1;
  if (handle) {
    if (host.resizeHandle(bytes, handle) != PF_Err_NONE) throw std::bad_alloc();
  } else {
    handle = host.newHandle(bytes);
    if (!handle) throw std::bad_alloc();
  }
  void* data = host.lockHandle(handle);
  if (!data) throw std::bad_alloc();
  std::memcpy(data, text.c_str(), std::size_t(bytes));
  host.unlockHandle(handle);
  markChanged(def);
}

// The raw word carries no change: the host is not told.
void writeRaw(PF_ParamDef& def, std::uint32_t word) { std::memcpy(&def.u, &word, sizeof word); }

}  // namespace

// ---- plain reads and writes ----------------------------------------------------

double Parameters::getFloat(int index) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  return floatOf(*host, records[index], access.def());
}

std::int32_t Parameters::getInt(int index) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  return intOf(records[index], access.def());
}

bool Parameters::getBool(int index) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  return boolOf(access.def());
}

Parameters::ParamColor Parameters::getColor(int index) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  return colorOf(*host, access.def());
}

Parameters::ParamPoint Parameters::getPoint(int index) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  return pointOf(access.def());
}

std::string Parameters::getString(int index) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  return stringOf(*host, access.def());
}

std::uint32_t Parameters::getRaw(int index) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  return rawOf(access.def());
}

void Parameters::setFloat(int index, double value) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  writeFloat(records[index], access.def(), value);
}

void Parameters::setInt(std::int32_t value, int index) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  writeInt(records[index], access.def(), value);
}

void Parameters::setBool(bool value, int index) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  writeBool(access.def(), value);
}

void Parameters::setColor(const ParamColor& color, int index) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  writeColor(access.def(), color);
}

void Parameters::setPoint(const ParamPoint& point, int index) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  writePoint(*host, access.def(), point);
}

void Parameters::setString(const std::string& text, int index) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  writeString(*host, access.def(), text);
}

void Parameters::setRaw(std::uint32_t word, int index) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)));
  writeRaw(access.def(), word);
}

// ---- at a time ------------------------------------------------------------------

double Parameters::getFloatAt(int index, double time) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  return floatOf(*host, records[index], access.def());
}

std::int32_t Parameters::getIntAt(int index, double time) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  return intOf(records[index], access.def());
}

bool Parameters::getBoolAt(int index, double time) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  return boolOf(access.def());
}

Parameters::ParamColor Parameters::getColorAt(int index, double time) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  return colorOf(*host, access.def());
}

Parameters::ParamPoint Parameters::getPointAt(int index, double time) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  return pointOf(access.def());
}

std::string Parameters::getStringAt(int index, double time) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  return stringOf(*host, access.def());
}

std::uint32_t Parameters::getRawAt(int index, double time) const {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  return rawOf(access.def());
}

void Parameters::setFloatAt(int index, double time, double value) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  writeFloat(records[index], access.def(), value);
}

void Parameters::setIntAt(std::int32_t value, int index, double time) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  writeInt(records[index], access.def(), value);
}

void Parameters::setBoolAt(bool value, int index, double time) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  writeBool(access.def(), value);
}

void Parameters::setColorAt(const ParamColor& color, int index, double time) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  writeColor(access.def(), color);
}

void Parameters::setPointAt(const ParamPoint& point, int index, double time) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  writePoint(*host, access.def(), point);
}

void Parameters::setStringAt(const std::string& text, int index, double time) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  writeString(*host, access.def(), text);
}

void Parameters::setRawAt(std::uint32_t word, int index, double time) {
  ParamAccess access(*host, hostIndexOf(*this, std::size_t(index)), time);
  writeRaw(access.def(), word);
}

// ---- user interface ----------------------------------------------------------------

void Parameters::setEnabled(bool enabled, int index) {
  const PF_ParamIndex hostIndex = hostIndexOf(*this, std::size_t(index));
  ParamAccess access(*host, hostIndex);
  PF_ParamDef copy = access.def();
  if (enabled)
    copy.ui_flags &= ~A_long(PF_PUI_DISABLED);
  else
    copy.ui_flags |= PF_PUI_DISABLED;
  // The copy carries the twirl bit whichever way the control goes.
  copy.flags |= PF_ParamFlag_COLLAPSE_TWIRLY;
  if (host->paramUtilsSuite) host->paramUtilsSuite->PF_UpdateParamUI(host->inData->effect_ref, hostIndex, &copy);
}

}  // namespace OZ::Host::AE
