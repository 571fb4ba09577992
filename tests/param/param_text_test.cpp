#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "host/param/parameters.h"

namespace OZ::Host::Param {
namespace {

ParamRecord record(std::uint32_t kind, const std::string& name, ParamValue value, std::uint32_t flags = 0) {
  ParamRecord result;
  result.kind = kind;
  result.name = name;
  result.value = result.defaultValue = std::move(value);
  result.flags = flags;
  return result;
}

std::string written(const Parameters& store) {
  std::ostringstream out;
  store.writeTextTo(out, "Strobe Quirk", "1.0");
  return out.str();
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

const std::string kHeader = "Plugin Name: Strobe Quirk\nVersion Number: 1.0\n";

TEST(ParamTextWriteTest, EveryKindByteForByte) {
  Parameters store;
  store.records = {
      record(kNone, "None", ParamValue::ofInt(1)),
      record(kInt, "Int", ParamValue::ofInt(-7)),
      record(kFloat, "Float", ParamValue::ofFloat(100.123456)),
      record(kFloat, "Small", ParamValue::ofFloat(0.0000001)),
      record(kFloat, "Big", ParamValue::ofFloat(1234567.0)),
      record(kBool, "On", ParamValue::ofBool(true)),
      record(kBool, "Off", ParamValue::ofBool(false)),
      record(kString, "Text", ParamValue::ofText("say \"hi\" C:\\dir\\")),
      record(kString, "Cut", ParamValue::ofText(std::string("ab\0cd", 5))),
      record(kChoice, "Choice", ParamValue::ofInt(2)),
      record(kStringChoice, "Pick", ParamValue::ofText("b")),
      record(kColor, "Tint", ParamValue::ofColor({1.0, 0.5, 0.0})),
      record(kPoint, "Centre", ParamValue::ofPoint({-2.5, 3.0})),
      record(kGroupStart, "Group", ParamValue()),
      record(kGroupEnd, "Group end", ParamValue()),
      record(kLayer, "Layer", ParamValue::ofInt(4)),
      record(kPath, "Path", ParamValue()),
      record(kReserved, "Reserved", ParamValue()),
      record(20, "Future", ParamValue::ofInt(9)),
      record(kFloat, "Not as text", ParamValue::ofFloat(1.0), kNoText),
  };
  const std::string expected = kHeader +
                               "Int: -7\nFloat: 100.123\nSmall: 1e-07\nBig: 1.23457e+06\nOn: true\nOff: false\n"
                               "Text: \"say \\\"hi\\\" C:\\\\dir\\\\\"\nCut: \"ab\"\nChoice: 2\nPick: \"b\"\n"
                               "Tint: 1 0.5 0 \nCentre: -2.5 3 \nLayer: 4\n";
  EXPECT_EQ(written(store), expected);

  const std::string path = ::testing::TempDir() + "param_text_write.txt";
  std::ofstream(path) << expected << expected;  // longer than what replaces it
  store.writeText(path.c_str(), "Strobe Quirk", "1.0");
  EXPECT_EQ(readFile(path), expected);
  // A null header text leaves the stream bad: nothing after it reaches the file.
  store.writeText(path.c_str(), "Strobe Quirk", nullptr);
  EXPECT_EQ(readFile(path), "Plugin Name: Strobe Quirk\nVersion Number: ");
  std::remove(path.c_str());
}

// Current values all away from their defaults, so a read shows what the file reached.
Parameters storeAwayFromDefaults() {
  Parameters store;
  store.records = {
      record(kFloat, "Quirk Time", ParamValue::ofFloat(3.0), kNoText),
      record(kBool, "Unmasked", ParamValue::ofBool(false)),
      record(kColor, "Tint", ParamValue::ofColor({0.1, 0.2, 0.3})),
      record(kString, "Label", ParamValue::ofText("default")),
      record(kInt, "Count", ParamValue::ofInt(5)),
  };
  store.records[0].validMax = ParamValue::ofFloat(100.0);
  store.records[0].value = ParamValue::ofFloat(50.0);
  store.records[1].value = ParamValue::ofBool(true);
  store.records[2].value = ParamValue::ofColor({0.9, 0.9, 0.9});
  store.records[3].value = ParamValue::ofText("changed");
  store.records[4].value = ParamValue::ofInt(-1);
  return store;
}

Parameters readBack(const std::string& body) {
  Parameters store = storeAwayFromDefaults();
  std::istringstream in(kHeader + body);
  store.readTextFrom(in);
  return store;
}

TEST(ParamTextReadTest, HeaderOnlyOrEmptyLeavesEveryRecordAtItsDefault) {
  for (const std::string& text : {kHeader, std::string("Plugin Name: x\nVersion Number: y"), std::string()}) {
    Parameters store = storeAwayFromDefaults();
    std::istringstream in(text);
    store.readTextFrom(in);
    for (const ParamRecord& r : store.records) EXPECT_EQ(r.value, r.defaultValue) << r.name << " after " << text;
  }
}

TEST(ParamTextReadTest, LinesByKind) {
  // No clamp; kNoText still read; atoi; the last line needs no line feed.
  Parameters store = readBack("Quirk Time: 500\nCount: 12abc");
  EXPECT_EQ(store.getFloat(0), 500.0);
  EXPECT_EQ(store.getInt(4), 12);
  EXPECT_EQ(readBack("Quirk Time: 100.123456\n").getFloat(0), 100.123456);
  store.records[0].value = ParamValue::ofFloat(100.123456);
  store.records[0].flags = 0;
  std::istringstream in(written(store));
  store.readTextFrom(in);
  EXPECT_EQ(store.getFloat(0), 100.123) << "six significant digits on the way out";

  for (const char* text : {"True", "TRUE", "1", "truely"}) EXPECT_FALSE(readBack(std::string("Unmasked: ") + text).getBool(1)) << text;
  EXPECT_TRUE(readBack("Unmasked:  true \t\n").getBool(1));

  // Pieces split at single blanks; missing ones keep the default, an empty one reads as 0.
  EXPECT_EQ(readBack("Tint: 1 0.5\n").getColor(2), (ParamColor{1.0, 0.5, 0.3}));
  EXPECT_EQ(readBack("Tint: 1  0.5 0.25 0.75\n").getColor(2), (ParamColor{1.0, 0.0, 0.5}));
}

TEST(ParamTextReadTest, KeyWithoutColonRunsIntoTheNextLine) {
  Parameters store = readBack("a stray line\nQuirk Time: 9\nCount: 8\n");
  EXPECT_EQ(store.getFloat(0), 3.0) << "the key was \"a stray line\\nQuirk Time\"";
  EXPECT_EQ(store.getInt(4), 8);
  EXPECT_EQ(readBack("Quirk Time\n: 9\n").getFloat(0), 9.0) << "trailing white space leaves the key";
  EXPECT_EQ(readBack(" Quirk Time: 9\n").getFloat(0), 3.0) << "leading white space stays";
}

TEST(ParamTextReadTest, StringsRoundTripAndFollowTheQuotingRules) {
  for (const std::string text : {"", "say \"hi\"", "C:\\dir\\", "\\\"", "\"\"\"", "  blanks  "}) {
    Parameters store = storeAwayFromDefaults();
    store.records[3].value = ParamValue::ofText(text);
    EXPECT_EQ(readBack(written(store).substr(kHeader.size())).getString(3), text);
  }
  const char* const cases[][2] = {{"no quote", ""},
                                  {"\"unterminated", "unterminated"},
                                  {"\"ends in \\", "ends in "},
                                  {"\"a\\bc\" tail", "abc"}};
  for (const auto& c : cases) EXPECT_EQ(readBack(std::string("Label: ") + c[0] + "\n").getString(3), c[1]) << c[0];
}

// Every record of the name takes part; a string moves the read position, so
// a later string namesake reads on from the closing quote. At the end of the
// file the final read yields an empty key and value, which an unnamed record takes.
TEST(ParamTextReadTest, NamesakesShareTheLine) {
  Parameters store;
  store.records = {record(kString, "Same", ParamValue()), record(kString, "Same", ParamValue()),
                   record(kFloat, "Twice", ParamValue()), record(kFloat, "Twice", ParamValue()),
                   record(kFloat, "", ParamValue::ofFloat(5.0))};
  std::istringstream in(kHeader + "Same: \"abc\"def\"\nTwice: 2.5\n");
  store.readTextFrom(in);
  EXPECT_EQ(store.getString(0), "abc");
  EXPECT_EQ(store.getString(1), "def");
  EXPECT_EQ(store.getFloat(2), 2.5);
  EXPECT_EQ(store.getFloat(3), 2.5);
  EXPECT_EQ(store.getFloat(4), 0.0);
}

TEST(ParamTextStallTest, FindsTheFieldThatWouldFailTheStream) {
  // The value is everything after ':', its leading blank and quotes included.
  const std::string longestText(kTextFieldLength - 3, 'y');
  const std::string fine = std::string(kTextFieldLength, 'x') + ": 1\nLabel: \"" + longestText + "\"\n";
  ASSERT_EQ(findStallingTextField(kHeader + fine), std::string_view::npos);
  EXPECT_EQ(readBack(fine).getString(3), longestText);

  EXPECT_EQ(findStallingTextField(""), std::string_view::npos);
  EXPECT_EQ(findStallingTextField(std::string(300, 'k')), 0u);
  EXPECT_EQ(findStallingTextField(kHeader + std::string(256, 'k') + ": 1\n"), kHeader.size());
  EXPECT_EQ(findStallingTextField(kHeader + "k:" + std::string(255, 'v')), std::string_view::npos);
  EXPECT_EQ(findStallingTextField(kHeader + "k:" + std::string(256, 'v')), kHeader.size() + 2);
  std::string lines;  // short, but with no ':' they add up to one long key
  for (int i = 0; i < 30; ++i) lines += "ten chars\n";
  EXPECT_EQ(findStallingTextField(kHeader + lines + "k: 1\n"), kHeader.size());
}

// The loop ends only at the end of the stream; a failed stream keeps it
// spinning, and the alarm ends the child.
TEST(ParamTextStallDeathTest, FailedStreamNeverReturns) {
  EXPECT_EXIT(
      {
        alarm(1);
        storeAwayFromDefaults().readText("/nonexistent-directory/preset.txt");
        std::exit(0);
      },
      ::testing::KilledBySignal(SIGALRM), "");
  EXPECT_EXIT(
      {
        alarm(1);
        readBack("Label: " + std::string(256, 'v') + "\nCount: 1\n");
        std::exit(0);
      },
      ::testing::KilledBySignal(SIGALRM), "");
}

}  // namespace
}  // namespace OZ::Host::Param
