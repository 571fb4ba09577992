// The effect's four controls, and the params and preset commands run as a
// user runs them.

#include <string>

#include <gtest/gtest.h>

#include "effect/quirk_controls.h"
#include "tool_process.h"

namespace {

using namespace OZ::Host::Param;
using namespace StrobeQuirk;
using StrobeQuirk::Testing::Outcome;
using StrobeQuirk::Testing::readFile;

TEST(QuirkControlsTest, FourRecordsFieldByField) {
  Parameters store;
  store.records.resize(1);  // appended behind what is there
  defineQuirkControls(store);
  ASSERT_EQ(store.records.size(), 5u);

  const ParamValue no = ParamValue::ofBool(false), yes = ParamValue::ofBool(true);
  const struct {
    int index;
    const char* name;
    std::uint32_t kind;
    const char* tag;
    ParamValue value, low, high;
    std::uint32_t flags;
  } expected[] = {
      {kQuirkTimeIndex, "Quirk Time", kFloat, "itSQ", ParamValue::ofFloat(3), ParamValue::ofFloat(1),
       ParamValue::ofFloat(100), kNoTimeVary},
      {kRandomQuirkIndex, "Random Quirk", kFloat, "nrSQ", ParamValue::ofFloat(0), ParamValue::ofFloat(0),
       ParamValue::ofFloat(100), kPercent},
      {kIncreaseQuirkyIndex, "Increase Quirky", kBool, "ciSQ", no, no, yes, 0},
      {kUnmaskedIndex, "Unmasked", kBool, "kmSQ", no, no, yes, 0},
  };
  EXPECT_EQ(yes.number, (std::array<std::uint64_t, 3>{1, 0, 0}));
  for (const auto& control : expected) {
    const ParamRecord& record = store.records[1 + control.index];
    SCOPED_TRACE(control.name);
    EXPECT_EQ(record.name, control.name);
    EXPECT_EQ(record.kind, control.kind);
    EXPECT_EQ(record.tagText(), control.tag);
    EXPECT_EQ(record.tagEnd, 0u);
    EXPECT_EQ(record.value, control.value);
    EXPECT_EQ(record.defaultValue, control.value);
    EXPECT_EQ(record.sliderMin, control.low);
    EXPECT_EQ(record.validMin, control.low);
    EXPECT_EQ(record.sliderMax, control.high);
    EXPECT_EQ(record.validMax, control.high);
    EXPECT_EQ(record.flags, control.flags);
    EXPECT_EQ(record.weight, 1.0);
    EXPECT_TRUE(record.numbers.empty() && record.labels.empty());
  }
}

// --- The commands, run as a separate process. ---

class PresetCommandTest : public StrobeQuirk::Testing::ToolTest {};

// Write clamps through the store; read doesn't clamp, and "True" is false.
TEST_F(PresetCommandTest, WriteAndReadGiveExactBytes) {
  const std::string header = "Plugin Name: Strobe Quirk\nVersion Number: 1.0\n";
  ASSERT_EQ(run("preset write " + file("defaults.txt")).status, 0);
  EXPECT_EQ(readFile(file("defaults.txt")),
            header + "Quirk Time: 3\nRandom Quirk: 0\nIncrease Quirky: false\nUnmasked: false\n");
  ASSERT_EQ(run("preset write " + file("set.txt") + " --quirk-time 0.25 --random-quirk 12.3456789 --unmasked").status, 0);
  EXPECT_EQ(readFile(file("set.txt")), header + "Quirk Time: 1\nRandom Quirk: 12.3457\nIncrease Quirky: false\nUnmasked: true\n");

  write("in.txt", "Plugin Name: x\nVersion Number: 9\nQuirk Time: 500\nUnmasked: True\nIncrease Quirky:  true \nRandom Quirk: 7e1");
  const Outcome outcome = run("preset read " + file("in.txt"));
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, header + "Quirk Time: 500\nRandom Quirk: 70\nIncrease Quirky: true\nUnmasked: false\n");
}

TEST_F(PresetCommandTest, BadInputExitsTwoWithOneLineAndNoFile) {
  write("long.txt", "Plugin Name: x\nVersion Number: 1\nQuirk Time: " + std::string(250, '1') + "\n");
  std::string colonless = "Plugin Name: x\nVersion Number: 1\n";
  for (int i = 0; i < 30; ++i) colonless += "ten chars\n";
  write("colonless.txt", colonless);

  const std::string refused[] = {
      "preset write " + file("bad.txt") + " --quirk-time abc",
      "preset write " + file("bad.txt") + " --quirk-time nan",
      "preset write " + file("bad.txt") + " --quirk-time inf",
      "preset write " + file("bad.txt") + " --random-quirk 0x10",
      "preset write " + file("bad.txt") + " --random-quirk",
      "preset write " + file("bad.txt") + " --bogus",
      "preset write",
      "preset write " + file("bad.txt") + " " + file("second.txt"),
      "preset read " + file("missing.txt"),
      "preset read " + dir_.string(),
      "preset write " + dir_.string(),
      "preset read " + file("long.txt"),
      "preset read " + file("colonless.txt"),
      "preset read",
      "preset copy " + file("bad.txt"),
      "params extra",
  };
  for (const std::string& arguments : refused) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 2) << arguments;
    EXPECT_TRUE(outcome.out.empty()) << arguments;
    ASSERT_FALSE(outcome.err.empty()) << arguments;
    EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << arguments << ": " << outcome.err;
  }
  EXPECT_FALSE(std::filesystem::exists(file("bad.txt")));
}

}  // namespace
