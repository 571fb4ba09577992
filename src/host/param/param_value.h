#pragma once
// One value of a control, in any of the roles a record needs: current,
// default, slider ends, valid ends.

#include <array>
#include <cstdint>
#include <cstring>
#include <string>

namespace OZ::Host::Param {

struct ParamColor {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
  bool operator==(const ParamColor&) const = default;
};

struct ParamPoint {
  double x = 0.0;
  double y = 0.0;
  bool operator==(const ParamPoint&) const = default;
};

// `number` is three raw 64-bit words that the record's kind reads: a double at
// the start (kFloat), a 32-bit integer at the start (kInt, kChoice, kLayer),
// one byte at the start (kBool), three doubles (kColor) or two (kPoint).
// Each setter writes only the bytes its kind owns, so words a kind doesn't
// read keep what they held; reset copies all three words whatever the kind.
struct ParamValue {
  std::array<std::uint64_t, 3> number{};
  std::string text;  // kString and kStringChoice

  double asFloat() const { return load<double>(0); }
  std::int32_t asInt() const { return load<std::int32_t>(0); }
  bool asBool() const { return load<std::uint8_t>(0) != 0; }
  ParamColor asColor() const { return {load<double>(0), load<double>(8), load<double>(16)}; }
  ParamPoint asPoint() const { return {load<double>(0), load<double>(8)}; }

  void setFloat(double value) { save(0, value); }
  void setInt(std::int32_t value) { save(0, value); }
  void setBool(bool value) { save(0, static_cast<std::uint8_t>(value ? 1 : 0)); }
  void setColor(const ParamColor& color) {
    save(0, color.red);
    save(8, color.green);
    save(16, color.blue);
  }
  void setPoint(const ParamPoint& point) {
    save(0, point.x);
    save(8, point.y);
  }
  // One double of a colour (0 red, 1 green, 2 blue) or a point (0 x, 1 y).
  void setComponent(std::size_t component, double value) { save(component * sizeof(double), value); }

  static ParamValue ofFloat(double value) {
    ParamValue result;
    result.setFloat(value);
    return result;
  }
  static ParamValue ofInt(std::int32_t value) {
    ParamValue result;
    result.setInt(value);
    return result;
  }
  static ParamValue ofBool(bool value) {
    ParamValue result;
    result.setBool(value);
    return result;
  }
  static ParamValue ofColor(const ParamColor& color) {
    ParamValue result;
    result.setColor(color);
    return result;
  }
  static ParamValue ofPoint(const ParamPoint& point) {
    ParamValue result;
    result.setPoint(point);
    return result;
  }
  static ParamValue ofText(std::string value) {
    ParamValue result;
    result.text = std::move(value);
    return result;
  }

  bool operator==(const ParamValue&) const = default;

 private:
  template <typename T>
  T load(std::size_t offset) const {
    T result;
    std::memcpy(&result, reinterpret_cast<const unsigned char*>(number.data()) + offset, sizeof result);
    return result;
  }
  template <typename T>
  void save(std::size_t offset, T value) {
    std::memcpy(reinterpret_cast<unsigned char*>(number.data()) + offset, &value, sizeof value);
  }
};

}  // namespace OZ::Host::Param
