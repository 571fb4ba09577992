#include "cli/plugin_location.h"

#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "cli/command.h"

namespace StrobeQuirk::Cli {
namespace {

// The folder of the running tool. Emulators that run it answer for it too.
std::string toolFolder() {
  std::error_code error;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", error);
  return error ? std::string() : self.parent_path().string();
}

}  // namespace

std::vector<std::string> pluginCandidates() {
  const std::string folder = toolFolder();
  if (folder.empty()) return {};
  return {folder + "/" OZ_PLUGIN_FILE_NAME, folder + "/" OZ_PLUGIN_FROM_TOOL "/" OZ_PLUGIN_FILE_NAME};
}

std::unique_ptr<StandIn::PluginLoader> loadPlugin(const std::optional<std::string>& given) {
  if (given) {
    try {
      return std::make_unique<StandIn::PluginLoader>(*given);
    } catch (const std::runtime_error& error) {
      throw UsageError(error.what());  // the user named it
    }
  }
  const std::vector<std::string> candidates = pluginCandidates();
  for (const std::string& candidate : candidates) {
    std::error_code error;
    if (std::filesystem::exists(candidate, error)) return std::make_unique<StandIn::PluginLoader>(candidate);
  }
  std::string looked;
  for (const std::string& candidate : candidates) looked += (looked.empty() ? "" : " and ") + candidate;
  throw std::runtime_error("no plug-in " OZ_PLUGIN_FILE_NAME " found (looked for " +
                           (looked.empty() ? std::string("the tool's own folder") : looked) +
                           "); name one with --plugin PATH");
}

}  // namespace StrobeQuirk::Cli
