#include "cli/file_access.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <random>
#include <streambuf>

#include "cli/command.h"

namespace StrobeQuirk::Cli {
namespace {

// strerror's text, lower case to sit inside our lines.
std::string describeError(int error) {
  std::string text = std::strerror(error);
  if (!text.empty()) text[0] = char(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

// Up to and including the last '/'; empty for a bare name.
std::string folderOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
}

// The file a chain of symbolic links ends at, whether or not it exists.
std::string followLinks(const std::string& path) {
  constexpr int kMostLinks = 40;  // as the kernel allows
  std::string current = path;
  for (int hops = 0;; ++hops) {
    struct stat status;
    if (lstat(current.c_str(), &status) != 0 || !S_ISLNK(status.st_mode)) return current;
    if (hops == kMostLinks) throw UsageError("cannot write " + path + ": too many levels of symbolic links");
    std::error_code error;
    const std::string target = std::filesystem::read_symlink(current, error).string();
    if (error) throw UsageError("cannot write " + path + ": " + describeError(error.value()));
    current = !target.empty() && target[0] == '/' ? target : folderOf(current) + target;
  }
}

// An ostream's buffer over a file descriptor that keeps the error of a
// failed write, so that the message can say what went wrong.
class DescriptorBuffer : public std::streambuf {
 public:
  explicit DescriptorBuffer(int descriptor) : descriptor_(descriptor) { setp(buffer_.data(), buffer_.data() + buffer_.size()); }
  int error() const { return error_; }

 protected:
  int_type overflow(int_type c) override {
    if (!drain()) return traits_type::eof();
    if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
    return traits_type::not_eof(c);
  }
  std::streamsize xsputn(const char* data, std::streamsize count) override {
    // Large blocks (whole frames) go straight through.
    if (count < std::streamsize(buffer_.size())) return std::streambuf::xsputn(data, count);
    return drain() && writeAll(data, std::size_t(count)) ? count : 0;
  }
  int sync() override { return drain() ? 0 : -1; }

 private:
  bool drain() {
    const bool written = writeAll(pbase(), std::size_t(pptr() - pbase()));
    setp(buffer_.data(), buffer_.data() + buffer_.size());
    return written;
  }
  bool writeAll(const char* data, std::size_t count) {
    while (count > 0 && error_ == 0) {
      const ssize_t written = ::write(descriptor_, data, count);
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) {
        error_ = written < 0 ? errno : EIO;
        break;
      }
      data += written;
      count -= std::size_t(written);
    }
    return error_ == 0;
  }

  int descriptor_;
  int error_ = 0;
  std::array<char, 1 << 16> buffer_;
};

// A new file beside the target, under a name made for it and created
// exclusively: no existing file, folder or link is opened, overwritten or
// removed. Gone again when destroyed, unless renamed over the target.
class TemporaryFile {
 public:
  TemporaryFile(const std::string& target, const std::string& shownPath) : shownPath_(shownPath) {
    // Short enough that the name stays within the file system's limit.
    std::string base = target.substr(folderOf(target).size());
    if (base.size() > 100) base.resize(100);
    std::random_device random;
    const char kLetters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    int error = EEXIST;
    for (int attempt = 0; attempt < 100 && error == EEXIST; ++attempt) {
      std::string tag;
      for (int i = 0; i < 8; ++i) tag += kLetters[random() % (sizeof kLetters - 1)];
      name_ = folderOf(target) + "." + base + "." + tag + ".partial";
      descriptor_ = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (descriptor_ >= 0) return;
      error = errno;
    }
    fail(error);
  }
  ~TemporaryFile() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!renamed_) ::unlink(name_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return descriptor_; }
  void fail(int error) const { throw UsageError("cannot write " + shownPath_ + ": " + describeError(error)); }

  // Onto the disk, then into place in one step.
  void renameOver(const std::string& target) {
    if (::fsync(descriptor_) != 0) fail(errno);
    const int closed = ::close(descriptor_);
    descriptor_ = -1;
    if (closed != 0) fail(errno);
    if (::rename(name_.c_str(), target.c_str()) != 0) fail(errno);
    renamed_ = true;
  }

 private:
  std::string shownPath_, name_;
  int descriptor_ = -1;
  bool renamed_ = false;
};

}  // namespace

InputFile::InputFile(const std::string& path) : path_(path) {
  descriptor_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) {
    const int error = errno;
    throw UsageError("cannot read " + path + ": " + (error == ENOENT ? "no such file" : describeError(error)));
  }
  struct stat status;
  std::string problem;
  if (::fstat(descriptor_, &status) != 0)
    problem = describeError(errno);
  else if (S_ISDIR(status.st_mode))
    problem = "is a directory";
  if (!problem.empty()) {
    ::close(descriptor_);
    throw UsageError("cannot read " + path + ": " + problem);
  }
  if (S_ISREG(status.st_mode)) size_ = std::uint64_t(status.st_size);
}

InputFile::~InputFile() { ::close(descriptor_); }

std::size_t InputFile::read(unsigned char* into, std::size_t count) {
  std::size_t done = 0;
  while (done < count) {
    const ssize_t got = ::read(descriptor_, into + done, count - done);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw UsageError("cannot read " + path_ + ": " + describeError(errno));
    if (got == 0) break;
    done += std::size_t(got);
  }
  return done;
}

std::string readWholeFile(const std::string& path) {
  InputFile in(path);
  if (!in.size()) throw UsageError("cannot read " + path + ": not a regular file");
  std::string contents(std::size_t(*in.size()), '\0');
  contents.resize(in.read(reinterpret_cast<unsigned char*>(contents.data()), contents.size()));
  return contents;
}

std::string checkOutputPath(const std::string& path, const std::vector<std::string>& inputs) {
  if (path.empty()) throw UsageError("an empty OUT path");
  const std::string target = followLinks(path);
  struct stat status;
  const bool exists = ::stat(target.c_str(), &status) == 0;
  const int error = errno;
  if (exists) {
    if (S_ISDIR(status.st_mode)) throw UsageError("cannot write " + path + ": is a directory");
    if (!S_ISREG(status.st_mode)) throw UsageError("cannot write " + path + ": not a regular file");
    for (const std::string& input : inputs) {
      struct stat inputStatus;
      if (::stat(input.c_str(), &inputStatus) == 0 && inputStatus.st_dev == status.st_dev &&
          inputStatus.st_ino == status.st_ino)
        throw UsageError("cannot write " + path + ": it is the same file as the input " + input);
    }
    return target;
  }
  if (error != ENOENT) throw UsageError("cannot write " + path + ": " + describeError(error));
  const std::string folder = folderOf(target);
  if (!folder.empty() && (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)))
    throw UsageError("cannot write " + path + ": no such folder " + folder);
  return target;
}

void writeFileAtomically(const std::string& path, const std::function<void(std::ostream&)>& write) {
  const std::string target = checkOutputPath(path);
  struct stat existing;
  const bool replacing = ::stat(target.c_str(), &existing) == 0;
  TemporaryFile temporary(target, path);
  {
    DescriptorBuffer buffer(temporary.descriptor());
    std::ostream out(&buffer);
    write(out);
    out.flush();
    if (!out) temporary.fail(buffer.error() ? buffer.error() : EIO);
  }
  if (replacing && ::fchmod(temporary.descriptor(), existing.st_mode & 07777) != 0) temporary.fail(errno);
  temporary.renameOver(target);
}

}  // namespace StrobeQuirk::Cli
