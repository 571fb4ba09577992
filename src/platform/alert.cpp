// Where there are no panels: the message goes to standard error with the
// buttons it would have had, and the first button counts as pressed. The
// text is written as it stands, never read as a format.
#if !defined(__APPLE__)

#include "platform/alert.h"

#include <cstdio>

namespace Platform {

int showAlert(void*, const char* text, const char* title, std::uint64_t style) {
  const char* first = nullptr;  // null: the panel's own default
  const char* second = nullptr;
  if (style & kAlertYesNo) {
    first = "Yes";
    second = "No";
  } else if (!(style & kAlertOk)) {
    return 2;
  }
  const char* third = style & kAlertCancel ? "Cancel" : nullptr;
  if (style & kAlertSave) {
    second = "Don't Save";
    if (style & kAlertOk) first = "Save";
  }
  if (style & kAlertRevert) first = "Revert";
  std::fprintf(stderr, "%s\n%s\n[%s]", title ? title : "", text ? text : "", first ? first : "OK");
  if (second) std::fprintf(stderr, " [%s]", second);
  if (third) std::fprintf(stderr, " [%s]", third);
  std::fputc('\n', stderr);
  std::fflush(stderr);
  return 1;
}

}  // namespace Platform

#endif
