#pragma once
// A device for tests: its memory is host memory and its programs are the
// filters' own processor kernels, chosen by kernel name. Every path of the
// device evaluation runs through it, and what it computes can be compared
// byte for byte with the processor path. It records what was asked of it
// and fails on request.
//
// A program's text is "<kernel> name=value ...": the kernel, and the
// constants that a real device would compile in because no argument carries
// them (a blur's deviation, for one). A text may start with "BUILT ".

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "image/device.h"
#include "image/device_program.h"
#include "image/blend/blend_kernels.h"
#include "image/blend/blend_modes.h"
#include "image/filters/alpha_kernels.h"
#include "image/filters/balance_kernels.h"
#include "image/filters/blur_lines.h"
#include "image/filters/hsvcc_kernels.h"
#include "image/filters/processor_flags.h"
#include "image/views.h"

namespace TestSupport {

class ProcessorDevice {
 public:
  using Rect = OZ::Image::Rect;
  using PixelDescriptor = OZ::Image::PixelDescriptor;
  using KernelArgument = OZ::Image::KernelArgument;

  struct Buffer {
    Rect rect;
    PixelDescriptor descriptor;
    std::vector<unsigned char> storage;  // empty for wrapped host memory
    unsigned char* data = nullptr;       // the first row in memory
    std::int64_t stride = 0;             // positive
    bool bottomUp = false;               // wrapped rows that run bottom up
    bool image = false;                  // made by createImage
    std::int32_t mode = 0, state = 0;

    std::int64_t pixelBytes() const {
      return std::int64_t(descriptor.components * OZ::Image::componentBytes(descriptor.type));
    }
    std::int64_t rowStep() const { return bottomUp ? -stride : stride; }
    unsigned char* pixel(std::int32_t x, std::int32_t y) const {
      const std::int64_t row = bottomUp ? std::int64_t(rect.y1) - 1 - y : std::int64_t(y) - rect.y0;
      return data + row * stride + (std::int64_t(x) - rect.x0) * pixelBytes();
    }
    OZ::Image::TargetView targetView() const { return {rect, pixel(rect.x0, rect.y0), rowStep()}; }
    OZ::Image::SourceView sourceView() const { return {rect, pixel(rect.x0, rect.y0), rowStep(), Rect{0, 0, 0, 0}}; }
  };

  struct Program {
    std::string kernel, options;
    std::map<std::string, float> constants;
    float constant(const std::string& name) const {
      const auto found = constants.find(name);
      if (found == constants.end()) throw std::invalid_argument("kernel " + kernel + " lacks constant " + name);
      return found->second;
    }
  };

  // A buffer as a run saw it. The buffer itself may be gone by the time a
  // test looks; `id` only tells buffers apart while they live.
  struct BufferSeen {
    const Buffer* id = nullptr;
    Rect rect{};
    bool image = false;
  };

  // One runProgram call as it arrived.
  struct Run {
    std::string kernel;
    Rect rect;
    BufferSeen target;
    std::vector<BufferSeen> inputs;
    std::map<std::string, KernelArgument> arguments;
    std::vector<std::string> argumentNames;  // in order
  };

  ProcessorDevice() {
    context.context = this;
    context.table = &table();
    context.usable = 1;
  }
  ProcessorDevice(const ProcessorDevice&) = delete;
  ProcessorDevice& operator=(const ProcessorDevice&) = delete;

  // Answers of getInfo; a key not listed answers 0.
  std::map<std::int32_t, std::int32_t> answers;
  std::int64_t memoryBytes = 0;  // answered for key 1006 when positive
  std::set<std::string> failingBuilds;  // kernels whose build throws
  std::string failingKernel;            // the kernel whose run throws

  // What was asked: each call's name (with its mode or state where it has one).
  std::vector<std::string> calls;
  std::vector<Run> runs;
  std::vector<std::string> buildOptions;

  std::size_t liveBuffers() const { return buffers_.size(); }
  std::size_t livePrograms() const { return programs_.size(); }
  std::size_t count(const std::string& call) const {
    std::size_t n = 0;
    for (const std::string& c : calls) n += c == call;
    return n;
  }

  // Gives a node's program slot a build of kernel, through the framework's
  // cache, as a driver that knows the filters' kernels would.
  void attach(std::shared_ptr<OZ::Image::DeviceProgram>& slot, const std::string& kernel,
              const std::string& constants = "") {
    OZ::Image::KernelSource source;
    source.key = kernel + " " + constants;
    source.source = "BUILT " + kernel + " " + constants;
    source.name = kernel;
    OZ::Image::buildCachedProgram(context, slot, source);
  }
  static std::string blurConstants(float sigma, std::int32_t order) {
    char text[64];
    std::snprintf(text, sizeof text, "sigma=%.9g order=%d", double(sigma), int(order));
    return text;
  }

 private:
  static ProcessorDevice& of(void* context) { return *static_cast<ProcessorDevice*>(context); }

  static const OZ::Image::DeviceFunctionTable& table() {
    static const OZ::Image::DeviceFunctionTable functions = [] {
      OZ::Image::DeviceFunctionTable t{};
      t.finish = &finish;
      t.getInfo = &getInfo;
      t.createBuffer = &createBuffer;
      t.wrapMemory = &wrapMemory;
      t.createImage = &createImage;
      t.releaseBuffer = &releaseBuffer;
      t.setBufferMode = &setBufferMode;
      t.copyRegion = &copyRegion;
      t.clearRegion = &clearRegion;
      t.setBufferState = &setBufferState;
      t.buildProgram = &buildProgram;
      t.releaseProgram = &releaseProgram;
      t.runProgram = &runProgram;
      return t;
    }();
    return functions;
  }

  static void finish(void* context, void*) { of(context).calls.push_back("finish"); }

  static std::int32_t getInfo(void* context, void*, std::int32_t key, std::int64_t* value) {
    ProcessorDevice& device = of(context);
    if (key == OZ::Image::kInfoMemoryBytes) {
      if (device.memoryBytes <= 0) return 0;
      if (value) *value = device.memoryBytes;
      return 1;
    }
    const auto found = device.answers.find(key);
    return found == device.answers.end() ? 0 : found->second;
  }

  Buffer* makeBuffer(const Rect& rect, const PixelDescriptor& descriptor) {
    auto buffer = std::make_unique<Buffer>();
    buffer->rect = rect;
    buffer->descriptor = descriptor;
    // Rows on 16-byte boundaries, as the host lays out its worlds: the
    // vector kernels' head and tail depend on where a row starts.
    buffer->stride = (std::int64_t(OZ::Image::width(rect)) * buffer->pixelBytes() + 15) & ~std::int64_t(15);
    buffer->storage.assign(std::size_t(buffer->stride * OZ::Image::height(rect) + 16), 0xCD);  // never cleared
    const auto address = reinterpret_cast<std::uintptr_t>(buffer->storage.data());
    buffer->data = buffer->storage.data() + ((16 - address % 16) % 16);
    Buffer* handle = buffer.get();
    buffers_[handle] = std::move(buffer);
    return handle;
  }

  static void* createBuffer(void* context, void*, const Rect* rect, const PixelDescriptor* descriptor, std::int32_t flags) {
    of(context).calls.push_back("createBuffer " + std::to_string(flags));
    return of(context).makeBuffer(*rect, *descriptor);
  }

  static void* createImage(void* context, void*, const Rect* rect, const PixelDescriptor* descriptor, std::int32_t,
                           std::int32_t) {
    of(context).calls.push_back("createImage");
    Buffer* buffer = of(context).makeBuffer(*rect, *descriptor);
    buffer->image = true;
    return buffer;
  }

  static void* wrapMemory(void* context, void*, const Rect* rect, const PixelDescriptor* descriptor, void* data,
                          std::int64_t stride) {
    ProcessorDevice& device = of(context);
    device.calls.push_back("wrapMemory");
    if (stride < 0) throw std::invalid_argument("wrapMemory: a negative stride");
    auto buffer = std::make_unique<Buffer>();
    buffer->rect = *rect;
    buffer->descriptor = *descriptor;
    buffer->data = static_cast<unsigned char*>(data);
    buffer->stride = stride;
    buffer->bottomUp = (descriptor->flags & OZ::Image::kDescriptorNegativeStride) != 0;
    Buffer* handle = buffer.get();
    device.buffers_[handle] = std::move(buffer);
    return handle;
  }

  Buffer& buffer(void* handle) {
    const auto found = buffers_.find(static_cast<Buffer*>(handle));
    if (found == buffers_.end()) throw std::invalid_argument("not a live buffer");
    return *found->second;
  }

  static void releaseBuffer(void* context, void*, void* handle) {
    ProcessorDevice& device = of(context);
    device.calls.push_back("releaseBuffer");
    if (!device.buffers_.erase(static_cast<Buffer*>(handle))) throw std::invalid_argument("released twice");
  }

  static void setBufferMode(void* context, void*, void* handle, std::int32_t mode) {
    of(context).calls.push_back("setBufferMode " + std::to_string(mode));
    of(context).buffer(handle).mode = mode;
  }

  static void setBufferState(void* context, void*, void* handle, std::int32_t state, std::int32_t, std::int32_t) {
    of(context).calls.push_back("setBufferState " + std::to_string(state));
    of(context).buffer(handle).state = state;
  }

  static void copyRegion(void* context, void*, const Rect* sourceRect, const Rect* targetRect, void* sourceHandle,
                         void* targetHandle) {
    ProcessorDevice& device = of(context);
    device.calls.push_back("copyRegion");
    const Buffer& source = device.buffer(sourceHandle);
    const Buffer& target = device.buffer(targetHandle);
    if (source.descriptor.type != target.descriptor.type || source.descriptor.swizzle != target.descriptor.swizzle)
      throw std::invalid_argument("copyRegion: the two buffers hold different pixels");
    const std::size_t bytes = std::size_t(OZ::Image::width(*sourceRect) * source.pixelBytes());
    for (std::int32_t row = 0; row < OZ::Image::height(*sourceRect); ++row)
      std::memmove(target.pixel(targetRect->x0, targetRect->y0 + row), source.pixel(sourceRect->x0, sourceRect->y0 + row),
                   bytes);
  }

  static void clearRegion(void* context, void*, const Rect* rect, void* handle) {
    ProcessorDevice& device = of(context);
    device.calls.push_back("clearRegion");
    const Buffer& target = device.buffer(handle);
    for (std::int32_t y = rect->y0; y < rect->y1; ++y)
      std::memset(target.pixel(rect->x0, y), 0, std::size_t(OZ::Image::width(*rect) * target.pixelBytes()));
  }

  static void* buildProgram(void* context, void*, const char* source, const char* name, const char* options) {
    ProcessorDevice& device = of(context);
    device.calls.push_back("buildProgram");
    device.buildOptions.push_back(options);
    std::string text = source;
    if (text.rfind("BUILT ", 0) == 0) text.erase(0, 6);
    auto program = std::make_unique<Program>();
    program->options = options;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
      const std::size_t equals = word.find('=');
      if (equals != std::string::npos)
        program->constants[word.substr(0, equals)] = std::strtof(word.c_str() + equals + 1, nullptr);
      else if (program->kernel.empty())
        program->kernel = word;
    }
    if (name) program->kernel = name;
    if (device.failingBuilds.count(program->kernel)) throw std::runtime_error("build of " + program->kernel + " failed");
    Program* handle = program.get();
    device.programs_[handle] = std::move(program);
    return handle;
  }

  static void releaseProgram(void* context, void*, void* handle) {
    ProcessorDevice& device = of(context);
    device.calls.push_back("releaseProgram");
    if (!device.programs_.erase(static_cast<Program*>(handle))) throw std::invalid_argument("program released twice");
  }

  struct NoProgress final : OZ::Image::Progress {
    void report(std::int64_t, std::int64_t) override {}
  };

  static int depthOf(const PixelDescriptor& descriptor) {
    switch (descriptor.type) {
      case OZ::Image::kUnsigned8: return 8;
      case OZ::Image::kUnsigned16:
      case OZ::Image::kSigned16: return 16;
      case OZ::Image::kFloat32: return 32;
      default: return 0;
    }
  }
  static OZ::Image::ChannelOrder orderOf(const PixelDescriptor& descriptor) {
    return descriptor.swizzle >> 6 == 1 ? OZ::Image::ChannelOrder::AlphaFirst : OZ::Image::ChannelOrder::AlphaLast;
  }

  static void runProgram(void* context, void*, void* programHandle, const Rect* rect, void* targetHandle,
                         void* const* inputHandles, std::int32_t inputCount, const KernelArgument* arguments) {
    ProcessorDevice& device = of(context);
    device.calls.push_back("runProgram");
    const auto found = device.programs_.find(static_cast<Program*>(programHandle));
    if (found == device.programs_.end()) throw std::invalid_argument("runProgram: not a live program");
    const Program& program = *found->second;
    const Buffer& target = device.buffer(targetHandle);
    std::vector<const Buffer*> inputs;
    for (std::int32_t i = 0; i < inputCount; ++i)
      inputs.push_back(inputHandles[i] ? &device.buffer(inputHandles[i]) : nullptr);
    Run run{program.kernel, *rect, seen(&target), {}, {}, {}};
    for (const Buffer* input : inputs) run.inputs.push_back(seen(input));
    for (const KernelArgument* argument = arguments; argument->name; ++argument) {
      run.arguments[argument->name] = *argument;
      run.argumentNames.push_back(argument->name);
    }
    device.runs.push_back(run);
    if (program.kernel == device.failingKernel) throw std::runtime_error("kernel " + program.kernel + " failed");
    runKernel(program, run, target, inputs);
  }

  static BufferSeen seen(const Buffer* buffer) {
    return buffer ? BufferSeen{buffer, buffer->rect, buffer->image} : BufferSeen{};
  }

  // The kernel of a run, on the processor.
  static void runKernel(const Program& program, const Run& run, const Buffer& target,
                        const std::vector<const Buffer*>& inputs) {
    using namespace OZ::Image;
    auto argument = [&](const char* name, int index) {
      const auto found = run.arguments.find(name);
      if (found == run.arguments.end()) throw std::invalid_argument("kernel " + run.kernel + " needs " + name);
      return argumentFloat(found->second, index);
    };
    auto input = [&](std::size_t index) -> const Buffer& {
      if (inputs.size() <= index || !inputs[index]) throw std::invalid_argument("kernel " + run.kernel + " lacks an input");
      return *inputs[index];
    };
    const int depth = depthOf(target.descriptor);
    const ChannelOrder order = orderOf(target.descriptor);
    NoProgress progress;
    const std::string& kernel = run.kernel;
    if (kernel == "levels" || kernel == "levelsClamped") {
      // The argument is the curve's exponent; the kernels take gamma itself.
      const float gamma = run.arguments.count("gamma") ? 1.0f / argument("gamma", 0) : 1.0f;
      runBalanceBand(depth, order, target.targetView(), input(0).sourceView(), run.rect, progress, argument("scale", 0),
                     argument("offset", 0), gamma, kernel == "levelsClamped");
    } else if (kernel == "hsvcc") {
      const float hue = argument("ccH", 0), saturation = argument("ccSV", 0), value = argument("ccSV", 1);
      // A pure value scale is the levels kernels' work, as on the processor.
      if (hue == 0.0f && saturation == 1.0f)
        runBalanceBand(depth, order, target.targetView(), input(0).sourceView(), run.rect, progress, value, 0.0f, 1.0f,
                       false);
      else
        runHsvccBand(depth, order, target.targetView(), input(0).sourceView(), run.rect, progress, hue, saturation,
                     value);
    } else if (kernel == "premultiply" || kernel == "unmultiply") {
      runAlphaBand(kernel == "premultiply" ? AlphaOperation::Premultiply : AlphaOperation::Unmultiply, depth, order,
                   target.targetView(), input(0).sourceView(), run.rect, progress);
    } else if (kernel == "blend") {
      // The program was built for one mode; Behind's inputs arrive exchanged,
      // so its program is Normal's.
      const auto mode = std::uint32_t(program.constant("mode"));
      runBlendBand(depth, order, target.targetView(), input(0).sourceView(), input(1).sourceView(), run.rect, progress,
                   mode == BlendBehind ? BlendNormal : mode, argument("opacity", 0));
    } else if (kernel == "blurRows" || kernel == "blurColumns") {
      runBlurPass(program, run, target, input(0), kernel == "blurRows");
    } else if (kernel.rfind("record", 0) != 0) {  // "record...": a run that is only recorded
      throw std::invalid_argument("no kernel " + kernel);
    }
  }

  // One pass of the processor's recursive blur. It reads as far as the
  // processor's does, 3.5 deviations beyond the target, within the source.
  static void runBlurPass(const Program& program, const Run& run, const Buffer& target, const Buffer& source,
                          bool alongRows) {
    using namespace OZ::Image;
    const float sigma = program.constant("sigma");
    const DericheCoefficients coefficients(sigma, std::int32_t(program.constant("order")));
    const std::int32_t reach = std::int32_t(std::ceil(double(sigma) * 3.5));
    const Rect& t = run.rect;
    const std::int64_t pixel = target.pixelBytes();
    BlurLines lines;
    std::int64_t count;
    if (alongRows) {
      const std::int32_t x0 = std::max(t.x0 - reach, source.rect.x0), x1 = std::min(t.x1 + reach, source.rect.x1);
      lines = {source.pixel(x0, t.y0), source.rowStep(), pixel, x1 - x0, target.pixel(t.x0, t.y0), target.rowStep(),
               pixel, width(t), std::int64_t(t.x0) - x0};
      count = height(t);
    } else {
      const std::int32_t y0 = std::max(t.y0 - reach, source.rect.y0), y1 = std::min(t.y1 + reach, source.rect.y1);
      lines = {source.pixel(t.x0, y0), pixel, source.rowStep(), y1 - y0, target.pixel(t.x0, t.y0), pixel,
               target.rowStep(), height(t), std::int64_t(t.y0) - y0};
      count = width(t);
    }
    const BlurFamily family = queryProcessorFlags() & kFlagSSE2 ? BlurFamily::Vector : BlurFamily::Scalar;
    std::vector<unsigned char> scratch(blurScratchBytes(family, lines.n));
    NoProgress progress;
    blurLineRange(family, blurSamples(depthOf(target.descriptor), target.descriptor.white), lines, coefficients, 0,
                  count, scratch.data(), alongRows ? t.y0 : t.x0, progress, 0, 1);
  }

  std::map<Buffer*, std::unique_ptr<Buffer>> buffers_;
  std::map<Program*, std::unique_ptr<Program>> programs_;

 public:
  // Declared last: its program cache goes first, while the device still is.
  OZ::Image::DeviceContext context;
};

}  // namespace TestSupport
