#pragma once
// Opens a built plug-in the way the application does: the library is
// loaded, its one exported function looked up by name, and every call goes
// through that function. The library stays loaded while the loader lives.

#include <string>

#include "host/ae/ae_interface.h"

namespace StandIn {

class PluginLoader {
 public:
  // std::runtime_error with the system's reason when the library cannot be
  // opened or has no PluginEntry.
  explicit PluginLoader(const std::string& path);
  ~PluginLoader();
  PluginLoader(const PluginLoader&) = delete;
  PluginLoader& operator=(const PluginLoader&) = delete;

  PF_FilterProc entry() const { return entry_; }
  const std::string& path() const { return path_; }

  // The plug-in this build made.
  static std::string builtPluginPath();

 private:
  std::string path_;
  void* library_ = nullptr;
  PF_FilterProc entry_ = nullptr;
};

}  // namespace StandIn
