#include "standin/plugin_loader.h"

#include <dlfcn.h>

#include <stdexcept>

namespace StandIn {

PluginLoader::PluginLoader(const std::string& path) : path_(path) {
  // Local: the plug-in's symbols must not stand in for anyone else's.
  library_ = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library_) {
    const char* reason = ::dlerror();
    throw std::runtime_error("cannot load the plug-in " + path + ": " + (reason ? reason : "unknown reason"));
  }
  void* symbol = ::dlsym(library_, "PluginEntry");
  if (!symbol) {
    ::dlclose(library_);
    throw std::runtime_error("the plug-in " + path + " has no PluginEntry");
  }
  entry_ = reinterpret_cast<PF_FilterProc>(symbol);
}

PluginLoader::~PluginLoader() { ::dlclose(library_); }

std::string PluginLoader::builtPluginPath() { return OZ_BUILT_PLUGIN_PATH; }

}  // namespace StandIn
