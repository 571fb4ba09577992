// The module as a frei0r host sees it before any frame: what it exports,
// how it describes itself and its controls, and how it takes values and
// sizes, sensible or not.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <vector>

#include "frei0r/frei0r_module.h"

using Frei0rTests::Frei0rInstance;
using Frei0rTests::Frei0rModule;
namespace Control = Frei0rTests;

TEST(Frei0rModule, ExportsTheNineFunctionsAndNothingElse) {
  const std::string command = "nm -D --defined-only '" + Frei0rModule::get().path + "'";
  std::FILE* listing = ::popen(command.c_str(), "r");
  ASSERT_NE(listing, nullptr);
  std::vector<std::string> symbols;
  char line[512];
  while (std::fgets(line, sizeof line, listing)) {
    std::string text(line);
    symbols.push_back(text.substr(text.rfind(' ') + 1, text.find_last_not_of("\n") - text.rfind(' ')));
  }
  ASSERT_EQ(::pclose(listing), 0);
  const std::vector<std::string> expected = {"f0r_construct",       "f0r_deinit",          "f0r_destruct",
                                             "f0r_get_param_info",  "f0r_get_param_value", "f0r_get_plugin_info",
                                             "f0r_init",            "f0r_set_param_value", "f0r_update"};
  EXPECT_EQ(symbols, expected);
}

TEST(Frei0rModule, DescribesAFilterInBgraWithSevenControlsInOrder) {
  const Frei0rModule& module = Frei0rModule::get();
  f0r_plugin_info_t info{};
  module.pluginInfo(&info);  // before f0r_init, as MLT asks
  EXPECT_STREQ(info.name, "Strobe Quirk");  // GStreamer names the element frei0r-filter-strobe-quirk
  EXPECT_EQ(info.plugin_type, F0R_PLUGIN_TYPE_FILTER);
  EXPECT_EQ(info.color_model, F0R_COLOR_MODEL_BGRA8888);
  EXPECT_EQ(info.frei0r_version, 1);
  EXPECT_EQ(info.major_version, 1);
  EXPECT_EQ(info.minor_version, 0);
  ASSERT_EQ(info.num_params, 7);
  EXPECT_NE(info.author, nullptr);
  EXPECT_NE(info.explanation, nullptr);

  const struct {
    const char* name;
    int type;
  } expected[] = {{"Quirk Time", F0R_PARAM_DOUBLE},         {"Random Quirk", F0R_PARAM_DOUBLE},
                  {"Increase Quirky", F0R_PARAM_BOOL},      {"Unmasked", F0R_PARAM_BOOL},
                  {"Frame Rate", F0R_PARAM_DOUBLE},         {"Time In Milliseconds", F0R_PARAM_BOOL},
                  {"Threads", F0R_PARAM_DOUBLE}};
  for (int index = 0; index < 7; ++index) {
    f0r_param_info_t param{};
    module.paramInfo(&param, index);
    ASSERT_NE(param.name, nullptr) << index;
    EXPECT_STREQ(param.name, expected[index].name);
    EXPECT_EQ(param.type, expected[index].type) << param.name;
    ASSERT_NE(param.explanation, nullptr) << param.name;
    EXPECT_GT(std::string(param.explanation).size(), 10u) << param.name;
  }
  // Asking twice gives the same texts at the same addresses: hosts keep them.
  f0r_param_info_t first{}, again{};
  module.paramInfo(&first, 4);
  module.paramInfo(&again, 4);
  EXPECT_EQ(first.name, again.name);

  // Init and deinit any number of times, in any order, change nothing.
  EXPECT_EQ(module.init(), 1);
  EXPECT_EQ(module.init(), 1);
  module.deinit();
  module.deinit();
  f0r_plugin_info_t later{};
  module.pluginInfo(&later);
  EXPECT_EQ(later.name, info.name);
}

TEST(Frei0rModule, DescriptionsOutOfRangeOrIntoNullAreRefused) {
  const Frei0rModule& module = Frei0rModule::get();
  module.pluginInfo(nullptr);
  module.paramInfo(nullptr, 0);
  for (int index : {-1, 7, 1000, std::numeric_limits<int>::min()}) {
    f0r_param_info_t param{"untouched", 99, nullptr};
    module.paramInfo(&param, index);
    EXPECT_STREQ(param.name, "untouched") << index;
    EXPECT_EQ(param.type, 99) << index;
  }
}

TEST(Frei0rModule, RefusesEmptyAndHugeSizesAndTakesAnyOther) {
  const Frei0rModule& module = Frei0rModule::get();
  for (auto [width, height] : {std::pair{0u, 48u}, {64u, 0u}, {0u, 0u}, {16385u, 8u}, {8u, 4294967295u}})
    EXPECT_EQ(module.construct(width, height), nullptr) << width << "x" << height;
  // frei0r asks for multiples of 8, but hosts pass whatever the clip has.
  for (auto [width, height] : {std::pair{1u, 1u}, {63u, 47u}, {16384u, 1u}}) {
    f0r_instance_t instance = module.construct(width, height);
    EXPECT_NE(instance, nullptr) << width << "x" << height;
    module.destruct(instance);
  }
  module.destruct(nullptr);
}

TEST(Frei0rControls, StartAtTheirDefaults) {
  Frei0rInstance instance(64, 48);
  EXPECT_EQ(instance.get(Control::kQuirkTime), 3.0);
  EXPECT_EQ(instance.get(Control::kRandomQuirk), 0.0);
  EXPECT_EQ(instance.get(Control::kIncreaseQuirky), 0.0);
  EXPECT_EQ(instance.get(Control::kUnmasked), 0.0);
  EXPECT_EQ(instance.get(Control::kFrameRate), 25.0);
  EXPECT_EQ(instance.get(Control::kMilliseconds), 0.0);
  EXPECT_EQ(instance.get(Control::kThreads), 0.0);
}

TEST(Frei0rControls, EachIsSetAndReadBackOnItsOwn) {
  const double values[] = {7.25, 42.5, 1.0, 1.0, 29.97, 1.0, 3.0};
  Frei0rInstance instance(16, 8);
  for (int control = 0; control < 7; ++control) {
    instance.set(control, values[control]);
    for (int other = 0; other <= control; ++other)
      EXPECT_EQ(instance.get(other), values[other]) << "after setting " << control << ", control " << other;
  }
  // A second instance keeps its own values.
  Frei0rInstance fresh(16, 8);
  EXPECT_EQ(fresh.get(Control::kQuirkTime), 3.0);
}

TEST(Frei0rControls, ValuesOutsideTheRangeAreClampedAndBooleansSplitAtOneHalf) {
  Frei0rInstance instance(16, 8);
  const struct {
    int control;
    double value, stored;
  } cases[] = {
      {Control::kQuirkTime, 0.5, 1.0},        {Control::kQuirkTime, 250.0, 100.0},
      {Control::kQuirkTime, -1e300, 1.0},     {Control::kQuirkTime, std::numeric_limits<double>::infinity(), 100.0},
      {Control::kRandomQuirk, -5.0, 0.0},     {Control::kRandomQuirk, 150.0, 100.0},
      {Control::kFrameRate, 0.0, 0.01},       {Control::kFrameRate, 5000.0, 1000.0},
      {Control::kThreads, -1.0, 0.0},         {Control::kThreads, 100.0, 64.0},
      {Control::kIncreaseQuirky, 0.5, 1.0},   {Control::kIncreaseQuirky, 0.49, 0.0},
      {Control::kUnmasked, 7.0, 1.0},         {Control::kMilliseconds, -3.0, 0.0},
  };
  for (const auto& c : cases) {
    instance.set(c.control, c.value);
    EXPECT_EQ(instance.get(c.control), c.stored) << "control " << c.control << " set to " << c.value;
  }
}

TEST(Frei0rControls, NonsenseIsRefusedAndChangesNothing) {
  const Frei0rModule& module = Frei0rModule::get();
  Frei0rInstance instance(16, 8);
  instance.set(Control::kQuirkTime, 9.0);
  instance.set(Control::kQuirkTime, std::nan(""));
  EXPECT_EQ(instance.get(Control::kQuirkTime), 9.0);

  double value = 55.0;
  for (int index : {-1, 7, 99}) {
    module.setParam(instance.handle(), &value, index);
    double read = -1.0;
    module.getParam(instance.handle(), &read, index);
    EXPECT_EQ(read, -1.0) << index;
  }
  module.setParam(instance.handle(), nullptr, 0);
  module.getParam(instance.handle(), nullptr, 0);
  module.setParam(nullptr, &value, 0);
  module.getParam(nullptr, &value, 0);
  EXPECT_EQ(value, 55.0);
  for (int control = 0; control < 7; ++control)
    EXPECT_EQ(instance.get(control), control == 0 ? 9.0 : Frei0rInstance(16, 8).get(control)) << control;
}
