#include "standin/alert_capture.h"

#include <unistd.h>

#include <cstdio>
#include <stdexcept>

namespace StandIn {
namespace {

// Standard error sent into a file until the scope ends.
class ErrorRedirect {
 public:
  ErrorRedirect() : file_(std::tmpfile()) {
    if (!file_) throw std::runtime_error("cannot make a file to catch alerts in");
    std::fflush(stderr);
    saved_ = ::dup(STDERR_FILENO);
    if (saved_ < 0 || ::dup2(::fileno(file_), STDERR_FILENO) < 0) {
      std::fclose(file_);
      throw std::runtime_error("cannot catch standard error");
    }
  }
  ~ErrorRedirect() {
    restore();
    std::fclose(file_);
  }
  void restore() {
    if (saved_ < 0) return;
    std::fflush(stderr);
    ::dup2(saved_, STDERR_FILENO);
    ::close(saved_);
    saved_ = -1;
  }
  std::string text() {
    restore();
    std::string caught;
    std::rewind(file_);
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, file_)) > 0;) caught.append(buffer, n);
    return caught;
  }

 private:
  std::FILE* file_;
  int saved_ = -1;
};

}  // namespace

std::string captureAlerts(const std::function<void()>& action) {
  ErrorRedirect redirect;
  action();
  return redirect.text();
}

}  // namespace StandIn
