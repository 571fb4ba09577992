// String parameters as the application keeps them: handles of bytes that
// reach the plug-in through PF_Cmd_ARBITRARY_CALLBACK (new, dispose, copy,
// flatten, unflatten, interpolate, compare, print, scan), and as the
// parameter's value, read and written by the effect. The bytes are the
// input's: text with or without its zero, zeros inside, any length, and
// handles the plug-in made as well as ones the application did.
//
// What must hold: the flat form is the handle's bytes and comes back
// unchanged; a copy is equal; compare orders the texts up to their zero and
// is antisymmetric; print and flatten stay inside the buffer they are
// given; scan keeps the bytes up to the first zero; the effect reads the
// text up to its zero. A refused handle or lock gives its code and hands
// back nothing. At every step the plug-in holds exactly the handles given
// to the application and not yet disposed, and keeps every host rule.

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/ae/dispatch.h"
#include "host/ae/parameters.h"
#include "standin/effect_instance.h"
#include "standin/standin_host.h"

namespace {

using namespace OZ::Host::Param;

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "string_param: %s\n", what.c_str());
  std::abort();
}

void expect(bool holds, const std::string& what) {
  if (!holds) fail(what);
}

// A text control, and a string choice (a hidden text and its popup). On a
// change of the text the effect reads it and writes it back reversed, so
// that a read and a write of any bytes go through the adapter.
class TextEffect : public OZ::Host::AE::Host {
 public:
  enum : int { kCaptionAt, kPickAt };
  void defineParameters(Store& store) override {
    ParamRecord caption;
    caption.kind = kString;
    caption.name = "Caption";
    caption.value = caption.defaultValue = ParamValue::ofText("Strobe");
    store.records.push_back(caption);
    ParamRecord pick;
    pick.kind = kStringChoice;
    pick.name = "Pick";
    pick.labels = {"one", "two", "three"};
    pick.value = pick.defaultValue = ParamValue::ofText("two");
    store.records.push_back(pick);
  }
  bool wantsUiUpdates() override { return true; }
  void paramsChanged(Store& store, std::int32_t recordIndex) override {
    if (recordIndex != kCaptionAt) return;
    std::string text = store.getString(kCaptionAt);
    lastRead = text;
    std::reverse(text.begin(), text.end());
    store.setString(text, kCaptionAt);
  }
  void renderFrame(Store&, Image&, Image&, Image&, Image**) override {}
  static inline std::string lastRead;
};

PF_Err textEntry(PF_Cmd command, PF_InData* inData, PF_OutData* outData, PF_ParamDef* params[], PF_LayerDef* output,
                 void* extra) {
  return OZ::Host::AE::runPluginEntry<TextEffect>(command, inData, outData, params, output, extra, nullptr);
}

// The text of a block as the plug-in reads it: up to its zero or its end.
std::string textOf(const std::string& bytes) { return bytes.substr(0, ::strnlen(bytes.data(), bytes.size())); }

struct Fixture {
  Fixture() : effect(host, textEntry) {}

  std::string bytesOf(PF_Handle handle) {
    return std::string(static_cast<const char*>(*handle), std::size_t(host.handleSize(handle)));
  }
  PF_Handle handleWith(const std::string& bytes) {
    PF_Handle handle = host.allocateHandle(bytes.size());
    if (handle) std::memcpy(*handle, bytes.data(), bytes.size());
    return handle;
  }
  // A handle of the pool, or null for an index past its end.
  PF_Handle pick(FuzzedDataProvider& in) {
    const std::size_t at = in.ConsumeIntegralInRange<std::size_t>(0, pool.size());
    return at < pool.size() ? pool[at] : nullptr;
  }
  void drop(PF_Handle handle) {
    pool.erase(std::find(pool.begin(), pool.end(), handle));
    host.disposeHandle(handle);
  }
  PF_Err arbitrary(PF_FunctionSelector selector, PF_ArbParamsExtra& call, PF_ParamIndex index = 0) {
    call.which_function = selector;
    return effect.arbitrary(index ? index : caption, call);
  }

  StandIn::StandInHost host;
  StandIn::EffectInstance effect;
  std::vector<PF_Handle> pool;  // handles the application holds and the plug-in counts as live
  PF_ParamIndex caption = 0, pickText = 0, pickPopup = 0;
};

// What a call may end in while a handle or lock fault is armed.
void expectRefusal(PF_Err result, bool armed, const char* selector) {
  if (result == PF_Err_NONE) return;
  expect(armed, std::string(selector) + " failed with no fault armed");
  expect(result == PF_Err_OUT_OF_MEMORY || result == PF_Err_UNRECOGNIZED_PARAM_TYPE,
         std::string(selector) + " gave " + std::to_string(result));
}

void newHandle(Fixture& f, bool armed) {
  PF_ArbParamsExtra call{};
  PF_Handle made = nullptr;
  call.u.new_func_params.arbPH = &made;
  const PF_Err result = f.arbitrary(PF_Arbitrary_NEW_FUNC, call);
  expectRefusal(result, armed, "new");
  if (result != PF_Err_NONE) return expect(!made, "new handed back a handle with its error");
  expect(made && f.host.handleSize(made) == 0, "a new value is not an empty handle");
  f.pool.push_back(made);
}

void copyHandle(Fixture& f, FuzzedDataProvider& in, bool armed) {
  PF_ArbParamsExtra call{};
  PF_Handle made = nullptr;
  PF_Handle source = f.pick(in);
  call.u.copy_func_params.src_arbH = source;
  call.u.copy_func_params.dst_arbPH = &made;
  const PF_Err result = f.arbitrary(PF_Arbitrary_COPY_FUNC, call);
  expectRefusal(result, armed, "copy");
  if (result != PF_Err_NONE) return expect(!made, "copy handed back a handle with its error");
  expect(made && made != source, "copy made no new handle");
  f.pool.push_back(made);
  expect(f.bytesOf(made) == (source ? f.bytesOf(source) : std::string(1, '\0')), "a copy differs");
}

// Flat size, flatten into a buffer of any size, unflatten of the whole flat form.
void flatRoundTrip(Fixture& f, FuzzedDataProvider& in, bool armed) {
  PF_Handle handle = f.pick(in);
  PF_ArbParamsExtra call{};
  A_u_long size = 12345;
  call.u.flat_size_func_params.arbH = handle;
  call.u.flat_size_func_params.flat_data_sizePLu = &size;
  expect(f.arbitrary(PF_Arbitrary_FLAT_SIZE_FUNC, call) == PF_Err_NONE, "flat size failed");
  const std::string bytes = handle ? f.bytesOf(handle) : std::string();
  expect(size == bytes.size(), "the flat size is not the handle's size");

  constexpr std::size_t kGuard = 16;
  const A_u_long room = in.ConsumeBool() ? size : in.ConsumeIntegralInRange<A_u_long>(0, size + 8);
  std::vector<char> buffer(room + kGuard, '\x5a');
  call = {};
  call.u.flatten_func_params.arbH = handle;
  call.u.flatten_func_params.buf_sizeLu = room;
  call.u.flatten_func_params.flat_dataPV = buffer.data();
  const PF_Err flattened = f.arbitrary(PF_Arbitrary_FLATTEN_FUNC, call);
  expectRefusal(flattened, armed, "flatten");
  expect(std::all_of(buffer.begin() + std::ptrdiff_t(std::min<std::size_t>(room, bytes.size())), buffer.end(),
                     [](char c) { return c == '\x5a'; }),
         "flatten wrote past the handle's bytes or the buffer");
  if (flattened != PF_Err_NONE || !handle) return;
  const std::size_t written = std::min<std::size_t>(room, bytes.size());
  expect(std::equal(bytes.begin(), bytes.begin() + std::ptrdiff_t(written), buffer.begin()),
         "the flat form is not the handle's bytes");
  if (room < size) return;

  PF_Handle made = nullptr;
  call = {};
  call.u.unflatten_func_params.buf_sizeLu = size;
  call.u.unflatten_func_params.flat_dataPV = buffer.data();
  call.u.unflatten_func_params.arbPH = &made;
  const PF_Err result = f.arbitrary(PF_Arbitrary_UNFLATTEN_FUNC, call);
  expectRefusal(result, armed, "unflatten");
  if (result != PF_Err_NONE) return expect(!made, "unflatten handed back a handle with its error");
  f.pool.push_back(made);
  expect(f.bytesOf(made) == bytes, "the flat form does not come back unchanged");
}

// A project's flat form from outside: any bytes.
void unflattenBytes(Fixture& f, FuzzedDataProvider& in, bool armed) {
  const std::string bytes = in.ConsumeRandomLengthString(512);
  PF_Handle made = nullptr;
  PF_ArbParamsExtra call{};
  call.u.unflatten_func_params.buf_sizeLu = A_u_long(bytes.size());
  call.u.unflatten_func_params.flat_dataPV = bytes.data();
  call.u.unflatten_func_params.arbPH = &made;
  const PF_Err result = f.arbitrary(PF_Arbitrary_UNFLATTEN_FUNC, call);
  expectRefusal(result, armed, "unflatten");
  if (result != PF_Err_NONE) return expect(!made, "unflatten handed back a handle with its error");
  f.pool.push_back(made);
  expect(f.bytesOf(made) == bytes, "unflatten changed the bytes");
}

void interpolate(Fixture& f, FuzzedDataProvider& in, bool armed) {
  PF_Handle left = f.pick(in), right = f.pick(in);
  PF_Handle made = nullptr;
  PF_ArbParamsExtra call{};
  call.u.interp_func_params.left_arbH = left;
  call.u.interp_func_params.right_arbH = right;
  call.u.interp_func_params.tF = in.ConsumeProbability<double>();
  call.u.interp_func_params.interpPH = &made;
  const PF_Err result = f.arbitrary(PF_Arbitrary_INTERP_FUNC, call);
  expectRefusal(result, armed, "interpolate");
  if (!made) return expect(result != PF_Err_NONE || !left || armed, "interpolate made nothing");
  f.pool.push_back(made);
  expect(left && f.bytesOf(made) == f.bytesOf(left), "text does not hold its left keyframe");
}

PF_ArbCompareResult compare(Fixture& f, PF_Handle a, PF_Handle b, bool armed) {
  PF_ArbCompareResult order = PF_ArbCompareResult(-1);
  PF_ArbParamsExtra call{};
  call.u.compare_func_params.a_arbH = a;
  call.u.compare_func_params.b_arbH = b;
  call.u.compare_func_params.compareP = &order;
  expectRefusal(f.arbitrary(PF_Arbitrary_COMPARE_FUNC, call), armed, "compare");
  return order;
}

void compareTwo(Fixture& f, FuzzedDataProvider& in, bool armed) {
  PF_Handle a = f.pick(in), b = f.pick(in);
  const PF_ArbCompareResult forward = compare(f, a, b, armed), backward = compare(f, b, a, armed);
  if (armed) return;
  PF_ArbCompareResult expected = PF_ArbCompare_EQUAL;
  if (a && b) {
    const int order = textOf(f.bytesOf(a)).compare(textOf(f.bytesOf(b)));
    expected = order < 0 ? PF_ArbCompare_LESS : order > 0 ? PF_ArbCompare_MORE : PF_ArbCompare_EQUAL;
  }
  expect(forward == expected, "compare does not order the texts");
  const PF_ArbCompareResult mirrored = expected == PF_ArbCompare_LESS   ? PF_ArbCompare_MORE
                                       : expected == PF_ArbCompare_MORE ? PF_ArbCompare_LESS
                                                                        : PF_ArbCompare_EQUAL;
  expect(backward == mirrored, "compare is not antisymmetric");
}

void print(Fixture& f, FuzzedDataProvider& in, bool armed) {
  PF_Handle handle = f.pick(in);
  A_u_long size = 0;
  PF_ArbParamsExtra call{};
  call.u.print_size_func_params.arbH = handle;
  call.u.print_size_func_params.print_sizePLu = &size;
  expect(f.arbitrary(PF_Arbitrary_PRINT_SIZE_FUNC, call) == PF_Err_NONE, "print size failed");
  const std::string bytes = handle ? f.bytesOf(handle) : std::string();
  expect(size == bytes.size() + 1, "the print size leaves no room for the zero");

  constexpr std::size_t kGuard = 16;
  const A_u_long room = in.ConsumeBool() ? size : in.ConsumeIntegralInRange<A_u_long>(0, size + 8);
  std::vector<char> buffer(room + kGuard, '\x5a');
  call = {};
  call.u.print_func_params.arbH = handle;
  call.u.print_func_params.print_sizeLu = room;
  call.u.print_func_params.print_bufferPC = buffer.data();
  const PF_Err result = f.arbitrary(PF_Arbitrary_PRINT_FUNC, call);
  expectRefusal(result, armed, "print");
  expect(std::all_of(buffer.begin() + room, buffer.end(), [](char c) { return c == '\x5a'; }),
         "print wrote past its buffer");
  if (room == 0 || result != PF_Err_NONE) return;
  expect(buffer[room - 1] == '\0', "the printed text has no zero");
  const std::size_t shown = std::min<std::size_t>(room - 1, bytes.size());
  expect(std::equal(bytes.begin(), bytes.begin() + std::ptrdiff_t(shown), buffer.begin()),
         "print does not show the handle's bytes");
}

void scan(Fixture& f, FuzzedDataProvider& in, bool armed) {
  std::string typed = in.ConsumeRandomLengthString(512);
  const A_u_long length = in.ConsumeIntegralInRange<A_u_long>(0, A_u_long(typed.size()));
  PF_Handle made = nullptr;
  PF_ArbParamsExtra call{};
  call.u.scan_func_params.bufPC = typed.data();
  call.u.scan_func_params.bytes_to_scanLu = length;
  call.u.scan_func_params.arbPH = &made;
  const PF_Err result = f.arbitrary(PF_Arbitrary_SCAN_FUNC, call);
  expectRefusal(result, armed, "scan");
  if (result != PF_Err_NONE) return expect(!made, "scan handed back a handle with its error");
  f.pool.push_back(made);
  expect(f.bytesOf(made) == textOf(typed.substr(0, length)), "scan did not keep the text up to its zero");
}

// Calls the plug-in must turn away: a selector it does not know, or a
// parameter that is not one of its strings.
void foreignCall(Fixture& f, FuzzedDataProvider& in) {
  PF_ArbParamsExtra call{};
  PF_Handle made = nullptr;
  call.u.new_func_params.arbPH = &made;
  call.which_function = in.ConsumeIntegral<PF_FunctionSelector>();
  const bool known = call.which_function >= PF_Arbitrary_NEW_FUNC && call.which_function <= PF_Arbitrary_SCAN_FUNC;
  std::uintptr_t refcon = in.ConsumeIntegral<std::uint16_t>();
  if ((refcon & ~std::uintptr_t(0xfff)) == 0x1000) refcon ^= 0x3000;  // never one of its own
  call.u.new_func_params.refconPV = reinterpret_cast<void*>(refcon);
  const PF_Err result = f.effect.call(PF_Cmd_ARBITRARY_CALLBACK, nullptr, nullptr, &call);
  expect(result == (known ? PF_Err_UNRECOGNIZED_PARAM_TYPE : PF_Err_NONE), "a foreign call was not turned away");
  expect(!made, "a foreign call made a handle");
}

// A pool handle, or new bytes, becomes the caption's value; the effect
// reads it and writes it back reversed.
void editCaption(Fixture& f, FuzzedDataProvider& in, bool armed) {
  PF_Handle value = f.pick(in);
  if (value) {
    f.pool.erase(std::find(f.pool.begin(), f.pool.end(), value));
    PF_ParamDef written = f.effect.params.at(f.caption).definition;
    written.u.arb_d.value = value;
    f.effect.params.adoptValue(f.caption, written);
  } else {
    // The application's own block, whatever its bytes.
    const std::string bytes = in.ConsumeRandomLengthString(256);
    PF_Handle own = f.host.applicationHandle(bytes.size());
    std::memcpy(*own, bytes.data(), bytes.size());
    PF_ParamDef written = f.effect.params.at(f.caption).definition;
    written.u.arb_d.value = own;
    f.effect.params.adoptValue(f.caption, written);
  }
  PF_Handle held = f.effect.params.at(f.caption).definition.u.arb_d.value;
  const std::string before = f.bytesOf(held);
  TextEffect::lastRead = "(nothing read)";
  const PF_Err result = f.effect.userChangedParam(f.caption);
  expectRefusal(result, armed, "a change of the caption");
  if (result != PF_Err_NONE) return;
  expect(TextEffect::lastRead == textOf(before), "the effect did not read the text up to its zero");
  std::string reversed = textOf(before);
  std::reverse(reversed.begin(), reversed.end());
  expect(f.bytesOf(f.effect.params.at(f.caption).definition.u.arb_d.value) == reversed + '\0',
         "the text written back is not the text and its zero");
}

// The popup picks a label, or a choice past the list; the hidden text follows.
void pickChoice(Fixture& f, FuzzedDataProvider& in, bool armed) {
  static const char* const labels[] = {"one", "two", "three"};
  const A_long choice = in.ConsumeIntegralInRange<A_long>(0, 4);
  f.effect.params.setInt(f.pickPopup, choice);
  const PF_Err result = f.effect.userChangedParam(f.pickPopup);
  expectRefusal(result, armed, "a pick");
  if (result != PF_Err_NONE) return;
  const std::string expected = choice >= 1 && choice <= 3 ? labels[choice - 1] : "";
  expect(f.effect.params.textOf(f.pickText) == expected, "the hidden text does not follow the popup");
  expectRefusal(f.effect.updateParamsUI(), armed, "a UI update");
}

void expectKeptRules(Fixture& f, const char* after) {
  const std::vector<std::string> violations = f.host.violations();
  if (!violations.empty()) fail(std::string("after ") + after + ": " + violations.front());
  expect(f.effect.params.outstanding() == 0, std::string("parameters still checked out after ") + after);
  expect(f.host.liveHandles() == f.pool.size(),
         std::string("after ") + after + ": " + std::to_string(f.host.liveHandles()) + " live handles for " +
             std::to_string(f.pool.size()) + " held");
}

void run(FuzzedDataProvider& in) {
  Fixture f;
  expect(f.effect.apply() == PF_Err_NONE, "setup failed: " + f.effect.message());
  for (std::size_t i = 1; i < f.effect.params.count(); ++i) {
    const PF_ParamDef& def = f.effect.params.at(PF_ParamIndex(i)).definition;
    if (def.param_type == PF_Param_ARBITRARY_DATA) (f.caption ? f.pickText : f.caption) = PF_ParamIndex(i);
    if (def.param_type == PF_Param_POPUP) f.pickPopup = PF_ParamIndex(i);
  }
  expect(f.caption && f.pickText && f.pickPopup, "the controls are not where they were defined");
  expect(f.effect.params.textOf(f.caption) == "Strobe", "the caption does not start at its default");
  expectKeptRules(f, "setup");

  // Some handles of the application's to start from.
  for (int count = in.ConsumeIntegralInRange(0, 3); count > 0; --count)
    f.pool.push_back(f.handleWith(in.ConsumeRandomLengthString(128)));

  for (int step = 0; step < 24 && in.remaining_bytes() > 0; ++step) {
    bool armed = false;
    if (in.ConsumeIntegralInRange(0, 5) == 0) {
      armed = true;
      if (in.ConsumeBool())
        f.host.faults.refuseHandle = f.host.handleRequests() + in.ConsumeIntegralInRange(1, 3);
      else
        f.host.faults.refuseLock = true;
    }
    const char* what = "a step";
    switch (in.ConsumeIntegralInRange(0, 11)) {
      case 0: what = "new"; newHandle(f, armed); break;
      case 1: {
        what = "dispose";
        PF_Handle handle = f.pick(in);
        PF_ArbParamsExtra call{};
        call.u.dispose_func_params.arbH = handle;
        expect(f.arbitrary(PF_Arbitrary_DISPOSE_FUNC, call) == PF_Err_NONE, "dispose failed");
        if (handle) f.pool.erase(std::find(f.pool.begin(), f.pool.end(), handle));
        break;
      }
      case 2: what = "copy"; copyHandle(f, in, armed); break;
      case 3: what = "the flat round trip"; flatRoundTrip(f, in, armed); break;
      case 4: what = "unflatten"; unflattenBytes(f, in, armed); break;
      case 5: what = "interpolate"; interpolate(f, in, armed); break;
      case 6: what = "compare"; compareTwo(f, in, armed); break;
      case 7: what = "print"; print(f, in, armed); break;
      case 8: what = "scan"; scan(f, in, armed); break;
      case 9: what = "a foreign call"; foreignCall(f, in); break;
      case 10: what = "an edit of the caption"; editCaption(f, in, armed); break;
      default: what = "a pick"; pickChoice(f, in, armed); break;
    }
    f.host.faults = StandIn::Faults{};
    expectKeptRules(f, what);
  }
  while (!f.pool.empty()) f.drop(f.pool.back());
  expect(f.host.liveHandles() == 0, "handles left at the end");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  FuzzedDataProvider in(data, size);
  run(in);
  return 0;
}
