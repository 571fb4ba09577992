#include "host/param/parameters.h"

#include <algorithm>

namespace OZ::Host::Param {

Parameters& Parameters::operator=(const Parameters& other) {
  if (this != &other) assign(other);
  return *this;
}

void Parameters::reset() {
  for (std::size_t i = 0; i < records.size(); ++i) {
    ParamRecord& record = records[i];
    record.value.number = record.defaultValue.number;
    record.value.text = record.defaultValue.text;
    pushRecord(static_cast<int>(i));
  }
}

void Parameters::pullRecord(int) {}
void Parameters::pushRecord(int) {}

void Parameters::pullAll() {
  for (std::size_t i = 0; i < records.size(); ++i) pullRecord(static_cast<int>(i));
}

void Parameters::pushAll() {
  for (std::size_t i = 0; i < records.size(); ++i) pushRecord(static_cast<int>(i));
}

void Parameters::assign(const Parameters& other) {
  // Vector assignment reuses the elements already here, then grows or shrinks.
  records = other.records;
  spareListA = other.spareListA;
  spareListB = other.spareListB;
  spareWord = other.spareWord;
  spareCount = other.spareCount;
}

double Parameters::getFloat(int index) const { return records[index].value.asFloat(); }
std::int32_t Parameters::getInt(int index) const { return records[index].value.asInt(); }
bool Parameters::getBool(int index) const { return records[index].value.asBool(); }
ParamColor Parameters::getColor(int index) const { return records[index].value.asColor(); }
ParamPoint Parameters::getPoint(int index) const { return scaledPoint(index); }
std::string Parameters::getString(int index) const { return records[index].value.text; }
std::uint32_t Parameters::getRaw(int) const { return 0; }

double Parameters::getFloatAt(int index, double) const { return records[index].value.asFloat(); }
std::int32_t Parameters::getIntAt(int index, double) const { return records[index].value.asInt(); }
bool Parameters::getBoolAt(int index, double) const { return records[index].value.asBool(); }
ParamColor Parameters::getColorAt(int index, double) const { return records[index].value.asColor(); }
ParamPoint Parameters::getPointAt(int index, double) const { return scaledPoint(index); }
std::string Parameters::getStringAt(int index, double) const { return records[index].value.text; }
std::uint32_t Parameters::getRawAt(int, double) const { return 0; }

// The comparisons are written so that a NaN fails both and is stored as it is.
void Parameters::setFloat(int index, double value) {
  ParamRecord& record = records[index];
  const double low = record.validMin.asFloat();
  const double high = record.validMax.asFloat();
  if (low > value)
    record.value.setFloat(low);
  else if (value > high)
    record.value.setFloat(high);
  else
    record.value.setFloat(value);
}

// With validMax below validMin, values under validMin get validMin and all
// others validMax.
void Parameters::setInt(std::int32_t value, int index) {
  ParamRecord& record = records[index];
  const std::int32_t low = record.validMin.asInt();
  if (low > value)
    record.value.setInt(low);
  else
    record.value.setInt(std::min(value, record.validMax.asInt()));
}

void Parameters::setBool(bool value, int index) { records[index].value.setBool(value); }
void Parameters::setColor(const ParamColor& color, int index) { records[index].value.setColor(color); }
void Parameters::setPoint(const ParamPoint& point, int index) { storeScaledPoint(point, index); }
void Parameters::setString(const std::string& text, int index) { records[index].value.text = text; }
void Parameters::setRaw(std::uint32_t, int) {}

void Parameters::setFloatAt(int index, double, double value) { records[index].value.setFloat(value); }
void Parameters::setIntAt(std::int32_t value, int index, double) { records[index].value.setInt(value); }
void Parameters::setBoolAt(bool value, int index, double) { records[index].value.setBool(value); }
void Parameters::setColorAt(const ParamColor& color, int index, double) { records[index].value.setColor(color); }
void Parameters::setPointAt(const ParamPoint& point, int index, double) { storeScaledPoint(point, index); }
void Parameters::setStringAt(const std::string& text, int index, double) { records[index].value.text = text; }
void Parameters::setRawAt(std::uint32_t, int, double) {}

void Parameters::setEnabled(bool, int) {}
int Parameters::reservedQuery() { return 0; }
void Parameters::reservedNotice() {}

void Parameters::getPointScale(float* x, float* y) const {
  *x = 1.0f;
  *y = 1.0f;
}

ParamPoint Parameters::scaledPoint(int index) const {
  const ParamRecord& record = records[index];
  const ParamPoint stored = record.value.asPoint();
  if (record.flags & kPercent) return stored;
  float scaleX = 0.0f;
  float scaleY = 0.0f;
  getPointScale(&scaleX, &scaleY);
  return {stored.x * static_cast<double>(scaleX), stored.y * static_cast<double>(scaleY)};
}

void Parameters::storeScaledPoint(const ParamPoint& point, int index) {
  ParamRecord& record = records[index];
  if (record.flags & kPercent) {
    record.value.setPoint(point);
    return;
  }
  float scaleX = 0.0f;
  float scaleY = 0.0f;
  getPointScale(&scaleX, &scaleY);
  record.value.setPoint({point.x / static_cast<double>(scaleX), point.y / static_cast<double>(scaleY)});
}

}  // namespace OZ::Host::Param
