#pragma once
// Rectangles of pixels in the composition's coordinates; right and bottom
// edges are exclusive.

#include <cstdint>

namespace OZ::Image {

struct Rect {
  std::int32_t x0, y0, x1, y1;
  friend constexpr bool operator==(const Rect&, const Rect&) = default;
};

// Nothing yet: where every region starts, and the neutral element of a union.
inline constexpr Rect emptyRect{INT32_MAX, INT32_MAX, INT32_MIN, INT32_MIN};
// Everything: the bounds of a node that has no limit.
inline constexpr Rect infiniteRect{INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};

constexpr bool isEmpty(const Rect& r) { return r.x1 <= r.x0 || r.y1 <= r.y0; }
constexpr bool isInfinite(const Rect& r) { return r == infiniteRect; }

constexpr bool contains(const Rect& outer, const Rect& inner) {
  return inner.x0 >= outer.x0 && inner.x1 <= outer.x1 && inner.y0 >= outer.y0 && inner.y1 <= outer.y1;
}

constexpr Rect unionWith(const Rect& a, const Rect& b) {
  if (isEmpty(b)) return a;
  if (isEmpty(a)) return b;
  if (isInfinite(a)) return a;
  return {b.x0 < a.x0 ? b.x0 : a.x0, b.y0 < a.y0 ? b.y0 : a.y0,
          b.x1 > a.x1 ? b.x1 : a.x1, b.y1 > a.y1 ? b.y1 : a.y1};
}

// May come out inverted; callers test the result with isEmpty.
constexpr Rect intersect(const Rect& a, const Rect& b) {
  if (isInfinite(a)) return b;
  if (isInfinite(b)) return a;
  return {a.x0 > b.x0 ? a.x0 : b.x0, a.y0 > b.y0 ? a.y0 : b.y0,
          a.x1 < b.x1 ? a.x1 : b.x1, a.y1 < b.y1 ? a.y1 : b.y1};
}

// Width and height in 32-bit arithmetic, as the memory estimates count them:
// the difference wraps, so an infinite rectangle measures -1 and allocates
// nothing. Taken in unsigned arithmetic, where wrapping is defined.
constexpr std::int32_t width(const Rect& r) { return std::int32_t(std::uint32_t(r.x1) - std::uint32_t(r.x0)); }
constexpr std::int32_t height(const Rect& r) { return std::int32_t(std::uint32_t(r.y1) - std::uint32_t(r.y0)); }

}  // namespace OZ::Image
