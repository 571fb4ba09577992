#pragma once
// The built frei0r module, opened the way ffmpeg, MLT and GStreamer open it:
// dlopen, then the nine functions looked up by name. Stays loaded for the
// test program's life.

#include <dlfcn.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

extern "C" {
#include <frei0r.h>
}

namespace Frei0rTests {

struct Frei0rModule {
  static const Frei0rModule& get() {
    static const Frei0rModule module(OZ_FREI0R_MODULE_PATH);
    return module;
  }

  explicit Frei0rModule(const std::string& modulePath) : path(modulePath) {
    handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) throw std::runtime_error(std::string("cannot open the module: ") + ::dlerror());
    find(init, "f0r_init");
    find(deinit, "f0r_deinit");
    find(pluginInfo, "f0r_get_plugin_info");
    find(paramInfo, "f0r_get_param_info");
    find(construct, "f0r_construct");
    find(destruct, "f0r_destruct");
    find(setParam, "f0r_set_param_value");
    find(getParam, "f0r_get_param_value");
    find(update, "f0r_update");
  }

  template <class Function>
  void find(Function& function, const char* name) {
    function = reinterpret_cast<Function>(::dlsym(handle, name));
    if (!function) throw std::runtime_error(std::string("the module has no ") + name);
  }

  std::string path;
  void* handle = nullptr;
  int (*init)() = nullptr;
  void (*deinit)() = nullptr;
  void (*pluginInfo)(f0r_plugin_info_t*) = nullptr;
  void (*paramInfo)(f0r_param_info_t*, int) = nullptr;
  f0r_instance_t (*construct)(unsigned, unsigned) = nullptr;
  void (*destruct)(f0r_instance_t) = nullptr;
  void (*setParam)(f0r_instance_t, f0r_param_t, int) = nullptr;
  void (*getParam)(f0r_instance_t, f0r_param_t, int) = nullptr;
  void (*update)(f0r_instance_t, double, const std::uint32_t*, std::uint32_t*) = nullptr;
};

// The module's controls, in their frei0r order.
enum Control : int { kQuirkTime, kRandomQuirk, kIncreaseQuirky, kUnmasked, kFrameRate, kMilliseconds, kThreads };

// One instance for the length of a scope.
class Frei0rInstance {
 public:
  Frei0rInstance(unsigned width, unsigned height)
      : module_(Frei0rModule::get()), instance_(module_.construct(width, height)), width_(width), height_(height) {
    if (!instance_) throw std::runtime_error("the module refused the size");
  }
  ~Frei0rInstance() { module_.destruct(instance_); }
  Frei0rInstance(const Frei0rInstance&) = delete;
  Frei0rInstance& operator=(const Frei0rInstance&) = delete;

  void set(int control, double value) { module_.setParam(instance_, &value, control); }
  double get(int control) const {
    double value = -12345.0;
    module_.getParam(instance_, &value, control);
    return value;
  }
  // One frame of 8-bit B, G, R, A at `time`.
  std::vector<unsigned char> render(const std::vector<unsigned char>& bgra, double time) {
    std::vector<std::uint32_t> in(std::size_t(width_) * height_), out(in.size(), 0xcdcdcdcdu);
    std::memcpy(in.data(), bgra.data(), bgra.size());
    module_.update(instance_, time, in.data(), out.data());
    std::vector<unsigned char> result(bgra.size());
    std::memcpy(result.data(), out.data(), result.size());
    return result;
  }
  f0r_instance_t handle() const { return instance_; }

 private:
  const Frei0rModule& module_;
  f0r_instance_t instance_;
  unsigned width_, height_;
};

}  // namespace Frei0rTests
