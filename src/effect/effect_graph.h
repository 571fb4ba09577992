#pragma once
// The arena of one query: every node that buildGraph makes, destroyed in
// order of creation on every way out. The source layer lives on the query's
// stack, outside the arena.

#include <utility>
#include <vector>

#include "effect/rand48.h"
#include "image/filter_base.h"
#include "image/filter_layer.h"

namespace StrobeQuirk {

template <class Host>
struct EffectGraph {
  using Node = OZ::Image::FilterBase<Host>;

  EffectGraph(Host* host, OZ::Image::FilterLayer<Host>* source) : host(host), source(source) { seedRandom(random); }
  EffectGraph(const EffectGraph&) = delete;
  EffectGraph& operator=(const EffectGraph&) = delete;
  ~EffectGraph() {
    for (Node* node : nodes) delete node;
  }

  // A node whose constructor throws is freed by the language and never
  // enters the arena; room is made first, so entering cannot fail.
  template <class Filter, class... Arguments>
  Filter* make(Arguments&&... arguments) {
    nodes.reserve(nodes.size() + 1);
    Filter* node = new Filter(std::forward<Arguments>(arguments)...);
    nodes.push_back(node);
    return node;
  }

  std::vector<Node*> nodes;
  Host* host;
  OZ::Image::FilterLayer<Host>* source;
  Rand48State random;
};

}  // namespace StrobeQuirk
