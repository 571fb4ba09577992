#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "host/ae/parameters.h"
#include "host/param/parameters.h"

namespace OZ::Host::Param {
namespace {

ParamRecord ranged(std::uint32_t kind, ParamValue value, ParamValue low, ParamValue high) {
  ParamRecord record;
  record.kind = kind;
  record.value = record.defaultValue = value;
  record.validMin = low;
  record.validMax = high;
  return record;
}

TEST(ParamClampTest, SetFloatClampsSetFloatAtDoesNotNaNPasses) {
  Parameters store;
  store.records = {ranged(kFloat, ParamValue::ofFloat(3), ParamValue::ofFloat(1), ParamValue::ofFloat(100))};
  const double inf = std::numeric_limits<double>::infinity();
  const double cases[][2] = {{0.5, 1.0}, {-inf, 1.0}, {250.0, 100.0}, {inf, 100.0}, {42.25, 42.25}};
  for (const auto& c : cases) {
    store.setFloat(0, c[0]);
    EXPECT_EQ(store.getFloat(0), c[1]) << c[0];
    store.setFloatAt(0, 17.0, c[0]);
    EXPECT_EQ(store.getFloatAt(0, -5.0), c[0]) << c[0];
  }
  store.setFloat(0, std::nan(""));
  EXPECT_TRUE(std::isnan(store.getFloat(0)));
}

// With validMax below validMin, validMin wins below it and validMax everywhere else.
TEST(ParamClampTest, SetIntClampsEvenWithTheRangeUpsideDown) {
  Parameters store;
  store.records = {ranged(kInt, ParamValue::ofInt(0), ParamValue::ofInt(-5), ParamValue::ofInt(5)),
                   ranged(kInt, ParamValue::ofInt(0), ParamValue::ofInt(10), ParamValue::ofInt(5))};
  const std::int32_t cases[][3] = {{INT32_MIN, -5, 10}, {-6, -5, 10}, {2, 2, 10},      {9, 5, 10},
                                   {10, 5, 5},          {11, 5, 5},   {INT32_MAX, 5, 5}};
  for (const auto& c : cases) {
    store.setInt(c[0], 0);
    store.setInt(c[0], 1);
    EXPECT_EQ(store.getInt(0), c[1]) << c[0];
    EXPECT_EQ(store.getInt(1), c[2]) << c[0];
    store.setIntAt(c[0], 1, 3.0);
    EXPECT_EQ(store.getInt(1), c[0]) << c[0];
  }
}

// Records which hooks the store calls, and scales points.
class RecordingStore : public Parameters {
 public:
  void pullRecord(int index) override { calls.push_back(-1 - index); }
  void pushRecord(int index) override {
    calls.push_back(index);
    EXPECT_EQ(records[index].value, records[index].defaultValue) << "pushed before it was reset";
  }
  void getPointScale(float* x, float* y) const override {
    *x = scaleX;
    *y = scaleY;
  }
  std::vector<int> calls;  // pushes as the index, pulls as -1 - index
  float scaleX = 1.0f, scaleY = 1.0f;
};

TEST(ParamLifecycleTest, ResetCopiesWholeDefaultsAndPushesInOrder) {
  RecordingStore store;
  store.reset();
  store.pullAll();
  store.pushAll();
  EXPECT_TRUE(store.calls.empty()) << "an empty store calls nothing";

  ParamRecord text;
  text.kind = kString;
  text.defaultValue = ParamValue::ofText("default");
  // An int whose default holds more than the kind reads: every word comes back.
  ParamRecord wide = ranged(kInt, ParamValue::ofInt(1), ParamValue::ofInt(0), ParamValue::ofInt(10));
  wide.defaultValue.number = {0x0102030405060708u, 0x1111u, 0x2222u};
  store.records = {ranged(kFloat, ParamValue::ofFloat(3), ParamValue::ofFloat(1), ParamValue::ofFloat(100)), text, wide};
  store.setFloat(0, 50.0);
  store.setString("changed", 1);
  store.reset();
  EXPECT_EQ(store.getFloat(0), 3.0);
  EXPECT_EQ(store.getString(1), "default");
  EXPECT_EQ(store.records[2].value.number, wide.defaultValue.number);

  store.pullAll();
  store.pushAll();
  EXPECT_EQ(store.calls, (std::vector<int>{0, 1, 2, -1, -2, -3, 0, 1, 2}));
}

TEST(ParamLifecycleTest, PointsGoThroughTheScaleUnlessPercent) {
  RecordingStore store;
  ParamRecord scaled;
  scaled.kind = kPoint;
  scaled.value = ParamValue::ofPoint({10.0, 4.0});
  ParamRecord percent = scaled;
  percent.flags = kPercent;
  store.records = {scaled, percent};
  EXPECT_EQ(store.getPoint(0), (ParamPoint{10.0, 4.0})) << "the base scale is 1";

  // The scale is a float widened to double, not the decimal 0.1.
  store.scaleX = 0.1f;
  store.scaleY = 2.0f;
  EXPECT_EQ(store.getPointAt(0, 5.0), (ParamPoint{10.0 * double(0.1f), 8.0}));
  EXPECT_EQ(store.getPoint(1), (ParamPoint{10.0, 4.0}));
  store.setPoint({1.0, 1.0}, 0);
  EXPECT_EQ(store.records[0].value.asPoint(), (ParamPoint{1.0 / double(0.1f), 0.5}));
  store.setPointAt({1.0, 1.0}, 1, 2.0);
  EXPECT_EQ(store.records[1].value.asPoint(), (ParamPoint{1.0, 1.0}));
}

Parameters richStore(int count, int seed) {
  Parameters store;
  for (int i = seed; i < seed + count; ++i) {
    ParamRecord record;
    record.kind = kStringChoice;
    record.name = "control " + std::to_string(i);
    record.setTag("ab" + std::to_string(i % 10) + "Z");
    record.numbers = {i, -i};
    record.labels = {"one", std::to_string(i)};
    record.value = ParamValue::ofText("one");
    record.sliderMin = ParamValue::ofColor({0.1, 0.2, double(i)});
    record.validMax = ParamValue::ofPoint({5.0, 6.0});
    record.flags = kSupervise | kHidden;
    record.weight = 0.5 + i;
    store.records.push_back(record);
  }
  store.spareListA.resize(2);
  store.spareListA[1][0x1122334455667788u] = ParamValue::ofFloat(seed);
  store.spareListB.resize(1);
  store.spareListB[0][7] = ParamValue::ofText("spare");
  store.spareWord = 0xfeedfacecafebeefu + seed;
  store.spareCount = 3 + seed;
  return store;
}

void expectSameStore(const Parameters& actual, const Parameters& expected) {
  EXPECT_EQ(actual.records, expected.records);
  EXPECT_EQ(actual.spareListA, expected.spareListA);
  EXPECT_EQ(actual.spareListB, expected.spareListB);
  EXPECT_EQ(actual.spareWord, expected.spareWord);
  EXPECT_EQ(actual.spareCount, expected.spareCount);
}

TEST(ParamCopyTest, CopyAndAssignCarryRecordsSpareListsAndWords) {
  const ParamRecord plain;
  EXPECT_EQ(plain.kind, 5u);
  EXPECT_EQ(plain.weight, 1.0);

  const Parameters small = richStore(2, 10), large = richStore(5, 20);
  expectSameStore(Parameters(large), large);
  EXPECT_EQ(large.records[1].tagText(), "ab1Z");

  Parameters growing = richStore(1, 30), shrinking = richStore(4, 40), emptied = richStore(3, 50);
  growing.assign(large);
  expectSameStore(growing, large);
  shrinking = small;
  expectSameStore(shrinking, small);
  emptied = Parameters();
  expectSameStore(emptied, Parameters());
}

TEST(ParamCopyTest, HostStoreKeepsItsAdapter) {
  auto* const first = reinterpret_cast<AE::Host*>(0x1000);
  auto* const second = reinterpret_cast<AE::Host*>(0x2000);
  AE::Parameters store(first);
  store.records = {ranged(kFloat, ParamValue::ofFloat(3), ParamValue::ofFloat(1), ParamValue::ofFloat(100))};
  EXPECT_EQ(AE::Parameters(store).host, first) << "a copy shares the adapter";
  AE::Parameters other(second);
  other = store;
  EXPECT_EQ(other.host, second) << "assignment takes only the records";
  EXPECT_EQ(other.records, store.records);
}

}  // namespace
}  // namespace OZ::Host::Param
