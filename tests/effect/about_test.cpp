// The about command's text: its shape and its title.

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "effect/quirk_plugin_ae.h"

TEST(QuirkPluginAbout, TheTextHasItsShapeAndTitle) {
  struct Recording : StrobeQuirk::QuirkPlugin<OZ::Host::AE::Host> {
    void showAbout(const std::string& text, const std::string& title) override {
      shownText = text;
      shownTitle = title;
    }
    std::string shownText, shownTitle;
  } effect;
  effect.about();
  EXPECT_EQ(effect.shownTitle, "Strobe Quirk");
  std::vector<std::string> lines;
  std::istringstream text(effect.shownText);
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[0], "Strobe Quirk 1.0");
  EXPECT_FALSE(lines[1].empty());  // the rights holder
  EXPECT_TRUE(lines[2].empty());
  EXPECT_FALSE(lines[3].empty());  // programming
  EXPECT_TRUE(lines[4].empty());
  EXPECT_FALSE(lines[5].empty());  // product design and management
}
