// strobe-quirk: runs the effect and its filters outside the application.

#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "cli/commands.h"

namespace StrobeQuirk::Cli {
namespace {

const Command* const kCommands[] = {
    &kSampleCommand,
    &kConvertCommand,
    &kParamsCommand,
    &kPresetCommand,
    &kScheduleCommand,
    &kFilterCommand,
    &kRenderCommand,
    &kAboutCommand,
};

void printHelp(std::ostream& out) {
  out << "usage: strobe-quirk COMMAND [OPTIONS]\n"
         "       strobe-quirk --version\n"
         "       strobe-quirk COMMAND --help\n\ncommands:\n";
  for (const Command* command : kCommands) out << "  " << command->name << "\n      " << command->summary << "\n";
}

int run(const std::vector<std::string>& words) {
  if (words.empty()) throw UsageError("no command given (see strobe-quirk --help)");
  if ((words[0] == "--help" || words[0] == "-h" || words[0] == "--version") && words.size() > 1)
    throw UsageError(words[0] + " takes nothing after it: " + words[1]);
  if (words[0] == "--help" || words[0] == "-h") {
    printHelp(std::cout);
    return 0;
  }
  if (words[0] == "--version") {
    std::cout << "strobe-quirk 1.0\n";
    return 0;
  }
  for (const Command* command : kCommands) {
    if (words[0] != command->name) continue;
    const std::vector<std::string> rest(words.begin() + 1, words.end());
    for (const std::string& word : rest) {
      if (word == "--help") {
        std::cout << (command->helpFor ? command->helpFor(rest) : std::string(command->usage));
        return 0;
      }
    }
    return command->run(rest);
  }
  throw UsageError("unknown command " + words[0] + " (see strobe-quirk --help)");
}

}  // namespace
}  // namespace StrobeQuirk::Cli

int main(int argc, char** argv) {
  using namespace StrobeQuirk::Cli;
  const std::vector<std::string> words(argv + 1, argv + argc);
  return exitStatusOf([&] { return run(words); }, std::cerr);
}
