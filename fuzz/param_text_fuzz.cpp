// The parameter text reader on any bytes, behind the guard the preset
// command puts in front of it.
//
// 1. findStallingTextField says exactly when the reader would never return.
//    The reader is run with its stream throwing on failure: a failure
//    short of the end is the stall, caught instead of spun in.
// 2. Where the guard lets the text through, the reader returns, on a store
//    of every kind and on one whose records share a name.
// 3. What it read writes back as text that reads back to the same text.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

#include "host/param/parameters.h"

namespace {

using namespace OZ::Host::Param;

ParamRecord record(std::uint32_t kind, const char* name, ParamValue value, std::uint32_t flags = 0) {
  ParamRecord result;
  result.kind = kind;
  result.name = name;
  result.value = result.defaultValue = value;
  result.flags = flags;
  return result;
}

// Every kind, the ones never written among them, with names a file can
// spell and names it cannot (a trailing blank, a colon). Not an empty name:
// the reader's last pass, at the end of the stream, reads an empty key with
// an empty value, so such a record ends every read at zero.
Parameters everyKind() {
  Parameters store;
  store.records = {
      record(kNone, "None", ParamValue::ofInt(1)),
      record(kInt, "Int", ParamValue::ofInt(-7)),
      record(kFloat, "Float", ParamValue::ofFloat(3)),
      record(kBool, "Bool", ParamValue::ofBool(true)),
      record(kString, "Text", ParamValue::ofText("say \"hi\"")),
      record(kChoice, "Choice", ParamValue::ofInt(2)),
      record(kStringChoice, "Pick", ParamValue::ofText("b")),
      record(kColor, "Tint", ParamValue::ofColor({1.0, 0.5, 0.0})),
      record(kPoint, "Centre", ParamValue::ofPoint({-2.5, 3.0})),
      record(kGroupStart, "Group", ParamValue()),
      record(kLayer, "Layer", ParamValue::ofInt(4)),
      record(kPath, "Path", ParamValue()),
      record(99, "Odd", ParamValue::ofInt(5)),
      record(kFloat, "Hidden", ParamValue::ofFloat(1), kNoText),
      record(kFloat, "Trail ", ParamValue::ofFloat(6)),
      record(kFloat, "A:B", ParamValue::ofFloat(7)),
  };
  return store;
}

// Namesakes: a string moves the read position for the records after it.
Parameters namesakes() {
  Parameters store;
  store.records = {
      record(kString, "Twin", ParamValue::ofText("a")),
      record(kString, "Twin", ParamValue::ofText("b")),
      record(kColor, "Twin", ParamValue::ofColor({0.1, 0.2, 0.3})),
      record(kPoint, "Twin", ParamValue::ofPoint({1, 2})),
      record(kInt, "Twin", ParamValue::ofInt(3)),
  };
  return store;
}

std::string written(const Parameters& store) {
  std::ostringstream out;
  store.writeTextTo(out, "Strobe Quirk", "1.0");
  return out.str();
}

bool readerStalls(const std::string& text) {
  Parameters store = everyKind();
  std::istringstream in(text);
  in.exceptions(std::ios::failbit);
  try {
    store.readTextFrom(in);
  } catch (const std::ios_base::failure&) {
    // Failing at the end is how every read ends; anywhere else it spins.
    return !in.eof();
  }
  return false;
}

[[noreturn]] void fail(const char* what, const std::string& text) {
  std::fprintf(stderr, "param_text: %s (%zu bytes)\n", what, text.size());
  std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const bool guarded = findStallingTextField(text) != std::string_view::npos;
  if (readerStalls(text) != guarded) fail(guarded ? "the guard refuses a text the reader takes" : "the guard lets a stalling text through", text);
  if (guarded) return 0;

  Parameters store = everyKind();
  std::istringstream in(text);
  store.readTextFrom(in);
  Parameters twins = namesakes();
  std::istringstream again(text);
  twins.readTextFrom(again);

  // Escaped quotes can make a written line too long to read; the guard says so.
  const std::string once = written(store);
  if (findStallingTextField(once) != std::string_view::npos) return 0;
  Parameters reread = everyKind();
  std::istringstream back(once);
  reread.readTextFrom(back);
  if (written(reread) != once) fail("written text reads back differently", text);
  return 0;
}
