#include "image/shortcuts.h"

#include <atomic>

namespace OZ::Image {
namespace {

std::atomic<Shortcuts> shortcutMask{~Shortcuts(0)};

}  // namespace

bool shortcutEnabled(Shortcuts shortcut) { return (shortcutMask.load(std::memory_order_relaxed) & shortcut) != 0; }

void restrictShortcuts(Shortcuts mask) { shortcutMask.store(mask, std::memory_order_relaxed); }

}  // namespace OZ::Image
