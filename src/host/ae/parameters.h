#pragma once
// The store as the After Effects adapter makes it: the same records, but
// every read and write of a value goes to the host's parameter, found by
// its host index. The records themselves only describe the controls. A
// copy shares the adapter.

#include "host/param/parameters.h"

namespace OZ::Host::AE {

class Host;

class Parameters : public ::OZ::Host::Param::Parameters {
 public:
  using ParamColor = ::OZ::Host::Param::ParamColor;
  using ParamPoint = ::OZ::Host::Param::ParamPoint;

  explicit Parameters(Host* madeBy) : host(madeBy) {}
  Parameters(const Parameters& other) = default;
  // Takes the other store's records; stays tied to its own adapter.
  Parameters& operator=(const Parameters& other) {
    if (this != &other) assign(other);
    return *this;
  }

  // The plain operations read the parameter array in place when the
  // command has one, else check the parameter out at the current time.
  // The At operations always check out, at `time` counted in time steps.
  double getFloat(int index) const override;
  std::int32_t getInt(int index) const override;
  bool getBool(int index) const override;
  ParamColor getColor(int index) const override;
  ParamPoint getPoint(int index) const override;
  std::string getString(int index) const override;
  std::uint32_t getRaw(int index) const override;

  double getFloatAt(int index, double time) const override;
  std::int32_t getIntAt(int index, double time) const override;
  bool getBoolAt(int index, double time) const override;
  ParamColor getColorAt(int index, double time) const override;
  ParamPoint getPointAt(int index, double time) const override;
  std::string getStringAt(int index, double time) const override;
  std::uint32_t getRawAt(int index, double time) const override;

  // Nothing clamps here: the host keeps its own limits.
  void setFloat(int index, double value) override;
  void setInt(std::int32_t value, int index) override;
  void setBool(bool value, int index) override;
  void setColor(const ParamColor& color, int index) override;
  // Divided by the downsample factors; reads do not multiply back.
  void setPoint(const ParamPoint& point, int index) override;
  void setString(const std::string& text, int index) override;
  void setRaw(std::uint32_t word, int index) override;

  void setFloatAt(int index, double time, double value) override;
  void setIntAt(std::int32_t value, int index, double time) override;
  void setBoolAt(bool value, int index, double time) override;
  void setColorAt(const ParamColor& color, int index, double time) override;
  void setPointAt(const ParamPoint& point, int index, double time) override;
  void setStringAt(const std::string& text, int index, double time) override;
  void setRawAt(std::uint32_t word, int index, double time) override;

  // Greys the control out or back, through the host's parameter utilities;
  // without them nothing reaches the host.
  void setEnabled(bool enabled, int index) override;

  Host* host;  // not owned
};

}  // namespace OZ::Host::AE
