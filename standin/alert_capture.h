#pragma once
// What the plug-in's alerts showed while an action ran. Where there are no
// panels, an alert is written to standard error; the application catches
// those writes to show them its own way.

#include <functional>
#include <string>

namespace StandIn {

// Runs `action` with standard error caught, and returns what was written.
// Standard error is back in place on every way out.
std::string captureAlerts(const std::function<void()>& action);

}  // namespace StandIn
