// The alert as a modal AppKit panel. Built on macOS only.
#include "platform/alert.h"

#import <AppKit/AppKit.h>

namespace Platform {

int showAlert(void*, const char* text, const char* title, std::uint64_t style) {
  if (!NSApplicationLoad()) return 2;
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  NSString* titleString = [NSString stringWithUTF8String:title ? title : ""];
  NSString* textString = [NSString stringWithUTF8String:text ? text : ""];

  NSString* first = nil;  // nil: the panel's own title for the button
  NSString* second = nil;
  if (style & kAlertYesNo) {
    first = @"Yes";
    second = @"No";
  } else if (!(style & kAlertOk)) {
    [pool release];
    return 2;
  }
  NSString* third = style & kAlertCancel ? @"Cancel" : nil;
  if (style & kAlertSave) {
    second = @"Don't Save";
    if (style & kAlertOk) first = @"Save";
  }
  if (style & kAlertRevert) first = @"Revert";

  // The text is the message format and its argument both: a '%' in it is
  // read as a directive, as it always has been.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"
#pragma clang diagnostic ignored "-Wformat-security"
  NSInteger pressed;
  if (style & kAlertPlain)
    pressed = NSRunAlertPanel(titleString, textString, first, second, third, textString);
  else if (style & kAlertCritical)
    pressed = NSRunCriticalAlertPanel(titleString, textString, first, second, third, textString);
  else if ((style & kAlertInfo) || !(style & kAlertNormal))
    pressed = NSRunInformationalAlertPanel(titleString, textString, first, second, third, textString);
  else
    pressed = NSRunAlertPanel(titleString, textString, first, second, third, textString);
#pragma clang diagnostic pop

  [pool release];
  if (pressed == 1) return 1;
  if (pressed == 0) return 3;
  return 2;
}

}  // namespace Platform
