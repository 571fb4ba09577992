#pragma once
// The store of an effect's controls: one ParamRecord per control, in the
// order that gives each its index. By itself it keeps the values in the
// records, ignores time and clamps on the plain setters; a host adapter
// derives from it and sends the values to the host instead.

#include <cstddef>
#include <cstdint>
#include <istream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "host/param/param_flags.h"
#include "host/param/param_kind.h"
#include "host/param/param_record.h"
#include "host/param/param_text.h"
#include "host/param/param_value.h"

namespace OZ::Host::Param {

// Carried and copied with the store; nothing inserts into them.
using SpareList = std::vector<std::map<std::uint64_t, ParamValue>>;

// Index arguments are positions in `records` and are not checked. The
// argument orders (value first for some setters, index first for others)
// are those of the adapter's overrides and stay as they are.
class Parameters {
 public:
  Parameters() = default;
  Parameters(const Parameters& other) = default;
  // Assigns like assign(): existing records are reused, then the list grows or shrinks.
  Parameters& operator=(const Parameters& other);

  virtual ~Parameters() = default;
  // Every value and text back to its default, then pushRecord for each index.
  virtual void reset();
  // The text form, to a file created or truncated at `path`. Reports nothing.
  virtual void writeText(const char* path, const char* pluginName, const char* versionText) const;
  // Reads the text form from `path`. Never returns when the stream fails
  // before its end (a missing file, a key or line of 256 characters or more):
  // the caller checks the file first, see findStallingTextField.
  virtual void readText(const char* path);
  virtual void pullRecord(int index);
  virtual void pushRecord(int index);
  virtual void pullAll();
  virtual void pushAll();
  // Copies the records, both spare lists and both spare words.
  virtual void assign(const Parameters& other);

  virtual double getFloat(int index) const;
  virtual std::int32_t getInt(int index) const;
  virtual bool getBool(int index) const;
  virtual ParamColor getColor(int index) const;
  // Scaled by getPointScale unless the record has kPercent.
  virtual ParamPoint getPoint(int index) const;
  virtual std::string getString(int index) const;
  virtual std::uint32_t getRaw(int index) const;

  virtual double getFloatAt(int index, double time) const;
  virtual std::int32_t getIntAt(int index, double time) const;
  virtual bool getBoolAt(int index, double time) const;
  virtual ParamColor getColorAt(int index, double time) const;
  virtual ParamPoint getPointAt(int index, double time) const;
  virtual std::string getStringAt(int index, double time) const;
  virtual std::uint32_t getRawAt(int index, double time) const;

  // setFloat and setInt clamp to validMin..validMax; the At variants below
  // store as given. The asymmetry is part of the contract.
  virtual void setFloat(int index, double value);
  virtual void setInt(std::int32_t value, int index);
  virtual void setBool(bool value, int index);
  virtual void setColor(const ParamColor& color, int index);
  // Divided by getPointScale unless the record has kPercent.
  virtual void setPoint(const ParamPoint& point, int index);
  virtual void setString(const std::string& text, int index);
  virtual void setRaw(std::uint32_t word, int index);

  virtual void setFloatAt(int index, double time, double value);
  virtual void setIntAt(std::int32_t value, int index, double time);
  virtual void setBoolAt(bool value, int index, double time);
  virtual void setColorAt(const ParamColor& color, int index, double time);
  virtual void setPointAt(const ParamPoint& point, int index, double time);
  virtual void setStringAt(const std::string& text, int index, double time);
  virtual void setRawAt(std::uint32_t word, int index, double time);

  virtual void setEnabled(bool enabled, int index);
  virtual int reservedQuery();
  virtual void reservedNotice();
  virtual void getPointScale(float* x, float* y) const;

  // The text form on any stream: writeText and readText open a file and
  // call these. The reader has the same never-returning failure.
  void writeTextTo(std::ostream& out, const char* pluginName, const char* versionText) const;
  void readTextFrom(std::istream& in);

  std::vector<ParamRecord> records;
  SpareList spareListA;
  SpareList spareListB;
  std::uint64_t spareWord = 0;
  std::uint32_t spareCount = 0;

 private:
  ParamPoint scaledPoint(int index) const;
  void storeScaledPoint(const ParamPoint& point, int index);
};

}  // namespace OZ::Host::Param
