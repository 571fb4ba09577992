#pragma once
// The tool run as a user runs it: a separate process, found through
// STROBE_QUIRK or beside the test program in the build tree, and started
// through STROBE_QUIRK_EMULATOR when that is set. Tests skip without it.
// Each test gets a fresh folder for its files.

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace StrobeQuirk::Testing {

inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

struct Outcome {
  int status;
  std::string out, err;
};

class ToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tool_ = toolPath();
    if (const char* emulator = std::getenv("STROBE_QUIRK_EMULATOR"); emulator && *emulator)
      emulator_ = std::string("'") + emulator + "' ";
    if (tool_.empty()) GTEST_SKIP() << "strobe-quirk not found; set STROBE_QUIRK";
    char pattern[] = "/tmp/strobe_quirk_cli_XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    root_ = pattern;
    dir_ = root_ / "work";
    std::filesystem::create_directory(dir_);
  }
  void TearDown() override {
    if (!root_.empty()) std::filesystem::remove_all(root_);
  }

  // `before` is shell text put in front of the tool, such as "cat x |".
  Outcome run(const std::string& arguments, const std::string& before = "") {
    const std::string command = before + " " + emulator_ + "'" + tool_ + "' " + arguments + " >'" +
                                (root_ / "stdout").string() + "' 2>'" + (root_ / "stderr").string() + "'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(root_ / "stdout"), readFile(root_ / "stderr")};
  }

  std::string file(const std::string& name) const { return (dir_ / name).string(); }
  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream(dir_ / name, std::ios::binary) << bytes;
  }
  // Every name in the test's folder, with what each holds (links as links).
  std::set<std::string> listing() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir_)) {
      const std::string name = entry.path().filename().string();
      if (entry.is_symlink())
        names.insert(name + " -> " + std::filesystem::read_symlink(entry.path()).string());
      else if (entry.is_regular_file())
        names.insert(name + " = " + readFile(entry.path()));
      else
        names.insert(name + " (other)");
    }
    return names;
  }

  // The rule for bad input: exit status 2, nothing on stdout, one line on
  // stderr that holds `says`, and the folder as it was.
  void expectRefused(const std::string& arguments, const std::string& says, const std::string& before = "") {
    SCOPED_TRACE(arguments);
    const std::set<std::string> was = listing();
    const Outcome outcome = run(arguments, before);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.err.rfind("strobe-quirk: ", 0), 0u) << outcome.err;
    EXPECT_NE(outcome.err.find(says), std::string::npos) << outcome.err;
    EXPECT_EQ(listing(), was);
  }

  std::string tool_, emulator_;
  std::filesystem::path root_, dir_;

 private:
  static std::string toolPath() {
    if (const char* given = std::getenv("STROBE_QUIRK")) return given;
    std::error_code error;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) return "";
    const auto beside = self.parent_path().parent_path() / "cli" / "strobe-quirk";
    return std::filesystem::exists(beside, error) ? beside.string() : "";
  }
};

}  // namespace StrobeQuirk::Testing
