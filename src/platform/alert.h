#pragma once
// A modal message to the user. The application's own platform shows a panel;
// where there is none, the message goes to standard error and the first
// button counts as pressed.

#include <cstdint>

namespace Platform {

enum AlertStyle : std::uint64_t {
  kAlertOk = 0x1,
  kAlertYesNo = 0x2,
  kAlertCancel = 0x4,
  kAlertSave = 0x80,
  kAlertRevert = 0x100,
  kAlertPlain = 0x1000,
  kAlertCritical = 0x2000,
  kAlertNormal = 0x4000,
  kAlertInfo = 0x8000,
};

// 1: the first button; 3: the second; 2: anything else (a third button, no
// usable style). Never throws.
int showAlert(void* ignored, const char* text, const char* title, std::uint64_t style);

}  // namespace Platform
