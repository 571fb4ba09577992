#pragma once
// Small nodes for graph tests: they record what the framework asked of them
// and write a recognisable value, so a test sees where each node rendered.

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/ae/host.h"
#include "image/filter.h"
#include "image/filter_base.h"

namespace TestSupport {

using Host = OZ::Host::AE::Host;
using Node = OZ::Image::FilterBase<Host>;
using Image = OZ::Image::ImageBuffer<Host>;

// Every evaluation writes its node's name here, in order.
inline std::vector<std::string>& processLog() {
  static std::vector<std::string> log;
  return log;
}

// Fills its output's bounds with its mark byte (8-bit images), after adding
// the first input's first byte, so chains show up in the pixels.
class MarkNode : public Node {
 public:
  MarkNode(const char* name, unsigned char mark, std::vector<Node*> from = {}, bool reuse = false)
      : name_(name), mark(mark), reuse(reuse) {
    for (Node* input : from) connectInput(input);
  }
  const char* filterName() const override { return name_; }
  bool canReuseInput(std::size_t) const override { return reuse; }
  void process(Host*, Image& output, Image* const* inputImages) override {
    processLog().push_back(name_);
    ++processed;
    lastOutput = output.firstRow();
    lastInputs.clear();
    for (std::size_t i = 0; i < inputs.size(); ++i) lastInputs.push_back(inputImages[i]->firstRow());
    for (std::int32_t y = output.bounds.y0; y < output.bounds.y1; ++y)
      std::memset(output.pixelAddress(output.bounds.x0, y), mark, std::size_t(width(output.bounds)) * 4);
  }

  const char* name_;
  unsigned char mark;
  bool reuse;
  int processed = 0;
  unsigned char* lastOutput = nullptr;
  std::vector<unsigned char*> lastInputs;
};

// Grows what it reads by a margin on every side, as a blur does.
class GrowNode : public MarkNode {
 public:
  GrowNode(const char* name, Node* input, std::int32_t margin) : MarkNode(name, 0, {input}), margin(margin) {}
  OZ::Image::Rect inputRegion(const OZ::Image::Rect& r, std::size_t) const override {
    return {r.x0 - margin, r.y0 - margin, r.x1 + margin, r.y1 + margin};
  }
  std::int32_t margin;
};

struct ConstructionFailure : std::runtime_error {
  ConstructionFailure() : std::runtime_error("node constructor failed") {}
};

// A node that fails in its own constructor, after linking itself.
class FailingNode : public MarkNode {
 public:
  explicit FailingNode(Node* input) : MarkNode("failing", 0, {input}) { throw ConstructionFailure(); }
};

// A node that fails while it renders.
class ThrowingNode : public MarkNode {
 public:
  explicit ThrowingNode(Node* input) : MarkNode("throwing", 0, {input}) {}
  void process(Host*, Image&, Image* const*) override { throw std::runtime_error("render failed"); }
};

}  // namespace TestSupport
