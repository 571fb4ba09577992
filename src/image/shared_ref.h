#pragma once
// Shared references to image records and device records. The count word is
// allocated apart from the record and changed atomically (std::shared_ptr's
// control block); a reference around a record nobody owns has no count word
// at all and frees nothing.

#include <memory>

namespace OZ::Image {

template <class T>
using SharedRef = std::shared_ptr<T>;

// A reference to a record that lives elsewhere (the host's input or output).
template <class T>
SharedRef<T> borrowed(T* record) {
  return SharedRef<T>(SharedRef<T>(), record);
}

}  // namespace OZ::Image
