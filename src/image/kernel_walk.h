#pragma once
// The walk that every pixel kernel shares: a band's rows from top to
// bottom, each cut where the sources stop having valid pixels, and a
// progress report after rows 0, 32, 64... of the band. Templated on the
// level so that each level file gets copies of its own.

#include <cstdint>
#include <tuple>

#include "image/progress.h"
#include "image/rect.h"
#include "image/views.h"

namespace OZ::Image {

// The part of the band where every source has valid pixels. A source's
// valid columns run from rect.x0 - left to rect.x1 - 1 - right (rows alike).
template <class Level, class... Sources>
Rect innerRect(const Rect& band, const Sources&... sources) {
  Rect inner = band;
  auto clipTo = [&](const SourceView& source) {
    const std::int32_t vx0 = source.rect.x0 - source.border.x0, vx1 = source.rect.x1 - 1 - source.border.x1;
    const std::int32_t vy0 = source.rect.y0 - source.border.y0, vy1 = source.rect.y1 - 1 - source.border.y1;
    auto clamp = [](std::int32_t value, std::int32_t low, std::int32_t high) {
      const std::int32_t raised = value > low ? value : low;
      return raised < high ? raised : high;
    };
    const Rect clipped{clamp(band.x0, vx0, vx1), clamp(band.y0, vy0, vy1), clamp(band.x1 - 1, vx0, vx1) + 1,
                       clamp(band.y1 - 1, vy0, vy1) + 1};
    if (clipped == infiniteRect) return;
    if (inner == infiniteRect) {
      inner = clipped;
      return;
    }
    inner = {inner.x0 > clipped.x0 ? inner.x0 : clipped.x0, inner.y0 > clipped.y0 ? inner.y0 : clipped.y0,
             inner.x1 < clipped.x1 ? inner.x1 : clipped.x1, inner.y1 < clipped.y1 ? inner.y1 : clipped.y1};
  };
  (clipTo(sources), ...);
  if (inner.x1 <= inner.x0 || inner.y1 <= inner.y0) inner = {band.x0, band.y0, band.x0, band.y0};
  return inner;
}

// Walks the band. spans.edge(y, x0, x1) handles pixels outside the inner
// rectangle one at a time; spans.inner(y, x0, x1) the inner part of a row.
// A report may throw OZ::Interrupted; the rows done so far stay written.
template <class Level, class Spans>
void walkBand(const Rect& band, const Rect& inner, Progress& progress, Spans& spans) {
  const std::int64_t bandHeight = std::int64_t(band.y1) - band.y0;
  for (std::int32_t y = band.y0; y < band.y1; ++y) {
    if (y < inner.y0 || y >= inner.y1) {
      spans.edge(y, band.x0, band.x1);
    } else {
      spans.edge(y, band.x0, inner.x0);
      spans.inner(y, inner.x0, inner.x1);
      spans.edge(y, inner.x1, band.x1);
    }
    const std::int64_t row = std::int64_t(y) - band.y0;
    if (row % 32 == 0) progress.report(row, bandHeight);
  }
}

// Runs a per-pixel operation over a band, target and sources read at the
// same image coordinates: op(targetPixel, sourcePixel...). For kernels
// whose inner and outer parts do the same thing.
template <class Level, int BytesPerPixel, class PixelOp, class... Sources>
void walkPixels(const TargetView& target, const Rect& band, Progress& progress, PixelOp&& op,
                const Sources&... sources) {
  struct Spans {
    const TargetView& target;
    PixelOp& op;
    std::tuple<const Sources&...> sources;
    void run(std::int32_t y, std::int32_t x0, std::int32_t x1) {
      if (x1 <= x0) return;
      unsigned char* out = pixelAt(target, x0, y, BytesPerPixel);
      std::apply(
          [&](const auto&... source) {
            auto in = std::make_tuple(pixelAt(source, x0, y, BytesPerPixel)...);
            for (std::int32_t x = x0; x < x1; ++x, out += BytesPerPixel) {
              std::apply([&](auto*... pixel) { op(out, pixel...); }, in);
              std::apply([](auto*&... pixel) { ((pixel += BytesPerPixel), ...); }, in);
            }
          },
          sources);
    }
    void edge(std::int32_t y, std::int32_t x0, std::int32_t x1) { run(y, x0, x1); }
    void inner(std::int32_t y, std::int32_t x0, std::int32_t x1) { run(y, x0, x1); }
  } spans{target, op, std::tuple<const Sources&...>(sources...)};
  walkBand<Level>(band, innerRect<Level>(band, sources...), progress, spans);
}

}  // namespace OZ::Image
