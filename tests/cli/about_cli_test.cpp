// strobe-quirk about, run as a user runs it: the about box of the built
// plug-in on standard output, and a plug-in that cannot be loaded refused.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

namespace {

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

// The tool beside this test program in the build tree, through the
// emulator when the tests have one.
ToolRun runTool(const std::string& arguments) {
  std::error_code error;
  const auto tool = std::filesystem::read_symlink("/proc/self/exe", error).parent_path().parent_path() / "cli" /
                    "strobe-quirk";
  const char* emulator = std::getenv("STROBE_QUIRK_EMULATOR");
  const std::string errFile = std::filesystem::temp_directory_path() / ("about_cli_" + std::to_string(::getpid()));
  const std::string command = (emulator && *emulator ? std::string("'") + emulator + "' " : std::string()) + "'" +
                              tool.string() + "' " + arguments + " 2>'" + errFile + "'";
  ToolRun run{-1, {}, {}};
  std::FILE* out = ::popen(command.c_str(), "r");
  if (!out) return run;
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, out)) > 0;) run.out.append(buffer, n);
  const int status = ::pclose(out);
  run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  if (std::FILE* err = std::fopen(errFile.c_str(), "r")) {
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, err)) > 0;) run.err.append(buffer, n);
    std::fclose(err);
  }
  std::filesystem::remove(errFile, error);
  return run;
}

}  // namespace

TEST(AboutCommand, PrintsTheAboutBoxOfTheLoadedPlugin) {
  const ToolRun run = runTool("about");
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out.rfind("Strobe Quirk\nStrobe Quirk 1.0\n", 0), 0u) << run.out;
  EXPECT_EQ(run.out.substr(run.out.size() - 5), "[OK]\n");
  EXPECT_TRUE(run.err.empty()) << run.err;
}

TEST(AboutCommand, APluginThatCannotBeLoadedIsBadInput) {
  const ToolRun run = runTool("about --plugin /nonexistent/StrobeQuirk.so");
  EXPECT_EQ(run.status, 2);
  EXPECT_TRUE(run.out.empty());
  EXPECT_EQ(run.err.rfind("strobe-quirk: cannot load the plug-in /nonexistent/StrobeQuirk.so", 0), 0u) << run.err;
  EXPECT_EQ(run.err.find('\n'), run.err.size() - 1) << "one line";
}
