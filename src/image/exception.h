#pragma once
// The two exception classes that every layer may throw.

#include <exception>
#include <string>

namespace OZ {

// An error with a text for the user: "title: message".
class Exception : public std::exception {
 public:
  Exception(const std::string& title, const std::string& message) : text_(title + ": " + message) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

// The host asked to stop. Carries no text: the host knows why.
class Interrupted {};

}  // namespace OZ
