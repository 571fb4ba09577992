#pragma once
// The files the tool reads and writes. Each refusal is a UsageError naming
// the path; a write leaves either the old file or the whole new one.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace StrobeQuirk::Cli {

// A file opened for reading. A missing path, a folder or a file that cannot
// be opened is refused with a line that says which.
class InputFile {
 public:
  explicit InputFile(const std::string& path);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  // The length of a regular file; none for a pipe or a device, whose
  // length shows only by reading to the end.
  std::optional<std::uint64_t> size() const { return size_; }
  // Up to `count` bytes; fewer only at the end of the file.
  std::size_t read(unsigned char* into, std::size_t count);
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  int descriptor_ = -1;
  std::optional<std::uint64_t> size_;
};

// The whole of a regular file.
std::string readWholeFile(const std::string& path);

// Where a write to `path` lands: the file a chain of symbolic links ends at
// (the links stay), or `path` itself. Refuses a folder, a FIFO, a device or
// a socket, a folder that doesn't exist, and a file that is one of `inputs`
// (also through links). Commands call it before their work, so that a bad
// OUT is refused before anything is read; writeFileAtomically calls it again.
std::string checkOutputPath(const std::string& path, const std::vector<std::string>& inputs = {});

// Writes through a temporary created exclusively beside the target, renamed
// over it only when everything was written. On every failure the temporary
// is removed and nothing else is touched. An existing target keeps its
// permissions.
void writeFileAtomically(const std::string& path, const std::function<void(std::ostream&)>& write);

}  // namespace StrobeQuirk::Cli
