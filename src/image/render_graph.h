#pragma once
// The passes over a graph before a pixel moves, and the render in its fixed
// order: drop what the root doesn't reach, merge equal nodes, push regions
// down, estimate peak memory, count the work, then pull the root.

#include <algorithm>
#include <deque>
#include <set>
#include <vector>

#include "image/filter_base.h"

namespace OZ::Image {

// Every node the root reaches along inputs, in depth-first order.
template <class Host>
std::vector<FilterBase<Host>*> reachableNodes(FilterBase<Host>* root) {
  std::vector<FilterBase<Host>*> order, stack{root};
  std::set<FilterBase<Host>*> seen{root};
  while (!stack.empty()) {
    FilterBase<Host>* node = stack.back();
    stack.pop_back();
    order.push_back(node);
    for (FilterBase<Host>* input : node->inputs)
      if (seen.insert(input).second) stack.push_back(input);
  }
  return order;
}

namespace Detail {
template <class T>
void eraseAll(std::vector<T*>& list, T* value) {
  list.erase(std::remove(list.begin(), list.end(), value), list.end());
}
}  // namespace Detail

// A node the root doesn't reach stops counting as a consumer of anything;
// it is still destroyed with its arena.
template <class Host>
void pruneConsumers(FilterBase<Host>* root) {
  const std::vector<FilterBase<Host>*> reached = reachableNodes(root);
  const std::set<FilterBase<Host>*> reachedSet(reached.begin(), reached.end());
  for (FilterBase<Host>* node : reached) {
    const std::vector<FilterBase<Host>*> consumers = node->consumers;
    for (FilterBase<Host>* consumer : consumers) {
      if (reachedSet.count(consumer)) continue;
      Detail::eraseAll(node->consumers, consumer);
      Detail::eraseAll(consumer->inputs, node);
    }
  }
}

// takeInputsIn: whether nodes may take their inputs in (absorbInput). A
// render on a device says no: a node that took one in would run it on the
// processor, beside a device that has a program for it.
template <class Host>
void simplifyGraph(FilterBase<Host>* root, bool takeInputsIn = true) {
  using Node = FilterBase<Host>;
  // Merge pass: consumers of one node that read the same inputs and are
  // mergeable become one node, working from the sources upward.
  std::deque<Node*> queue;
  std::set<Node*> queued;
  for (Node* node : reachableNodes(root))
    if (node->inputs.empty() && queued.insert(node).second) queue.push_back(node);
  while (!queue.empty()) {
    Node* node = queue.front();
    queue.pop_front();
    for (std::size_t a = 0; a < node->consumers.size(); ++a) {
      Node* kept = node->consumers[a];
      for (std::size_t b = a + 1; b < node->consumers.size();) {
        Node* merged = node->consumers[b];
        if (kept == merged || kept->inputs != merged->inputs || !kept->mergeableWith(*merged)) {
          ++b;
          continue;
        }
        for (Node* consumer : merged->consumers) std::replace(consumer->inputs.begin(), consumer->inputs.end(), merged, kept);
        kept->consumers.insert(kept->consumers.end(), merged->consumers.begin(), merged->consumers.end());
        merged->consumers.clear();
        for (Node* input : merged->inputs) Detail::eraseAll(input->consumers, merged);
        merged->inputs.clear();
      }
      if (queued.insert(kept).second) queue.push_back(kept);
    }
  }

  // Bypass pass: nodes that pass an input through are unlinked, and a node
  // may absorb an input's inputs. Hooks for filters that want them.
  std::set<Node*> visited;
  std::vector<Node*> stack{root};
  while (!stack.empty()) {
    Node* node = stack.back();
    stack.pop_back();
    if (!visited.insert(node).second) continue;
    for (int through = node->passThroughInput(); through >= 0; through = node->passThroughInput()) {
      Node* input = node->inputs[std::size_t(through)];
      for (Node* consumer : node->consumers) {
        std::replace(consumer->inputs.begin(), consumer->inputs.end(), node, input);
        input->consumers.push_back(consumer);
      }
      node->consumers.clear();
      for (Node* other : node->inputs) Detail::eraseAll(other->consumers, node);
      node->inputs.clear();
      node = input;
      visited.insert(node);
    }
    // A node that took an input in is asked again about its new inputs.
    for (bool took = true; took && takeInputsIn && node->consumers.size() < 2;) {
      took = false;
      for (std::size_t i = 0; i < node->inputs.size(); ++i) {
        Node* input = node->inputs[i];
        const int answer = node->absorbInput(input);
        if (answer == 2) break;
        if (answer == 1) {
          const std::vector<Node*> taken = input->inputs;
          for (Node* other : node->inputs) Detail::eraseAll(other->consumers, node);
          node->inputs.clear();
          for (Node* other : taken) {
            Detail::eraseAll(other->consumers, input);
            node->inputs.push_back(other);
            other->consumers.push_back(node);
          }
          input->inputs.clear();
          took = true;
          break;
        }
      }
    }
    for (Node* input : node->inputs) stack.push_back(input);
  }
}

// The region pass: what each node must produce for the root's request.
template <class Host>
void requestRegion(FilterBase<Host>* node, const Rect& rect) {
  node->cachedResult.release();
  node->useCount = 0;
  if (isEmpty(rect)) return;
  if (!isEmpty(node->region) && (isInfinite(node->region) || contains(node->region, rect))) return;
  node->region = unionWith(node->region, rect);
  for (std::size_t i = 0; i < node->inputs.size(); ++i)
    requestRegion(node->inputs[i], node->inputRegion(node->region, i));
}

template <class Host>
void spreadRootRegion(FilterBase<Host>* root) {
  for (FilterBase<Host>* node : reachableNodes(root)) node->rootRegion = root->region;
}

// Peak bytes of evaluating each subtree, inputs first, each node once.
template <class Host>
void estimatePeaks(FilterBase<Host>* root, const PixelDescriptor& descriptor) {
  std::set<FilterBase<Host>*> done;
  auto visit = [&](auto& self, FilterBase<Host>* node) -> void {
    if (!done.insert(node).second) return;
    for (FilterBase<Host>* input : node->inputs) self(self, input);
    std::uint64_t held = 0, peak = 0;
    for (std::size_t i : inputsByCost(*node, descriptor)) {
      const FilterBase<Host>& input = *node->inputs[i];
      peak = std::max(peak, input.peakBytes + held);
      held += regionBytes(input, descriptor);
    }
    const std::uint64_t own =
        regionBytes(*node, descriptor) + held + node->extraMemory(0, node->region, descriptor);
    node->peakBytes = std::max({node->peakBytes, peak, own});
  };
  visit(visit, root);
}

// The passes before a render into target, in their fixed order.
template <class Host>
void prepareRender(FilterBase<Host>* root, Host* host, const ImageBuffer<Host>& target, bool onDevice = false) {
  const Rect request = target.bounds;
  pruneConsumers(root);
  simplifyGraph(root, !onDevice);
  pruneConsumers(root);
  requestRegion(root, request);
  spreadRootRegion(root);
  estimatePeaks(root, target.descriptor());
  const std::uint64_t units = root->totalProgressUnits();
  auto& nodes = host->progressLevels[kNodeCountLevel];
  if (!nodes.fixed) {
    nodes.current = 0;
    nodes.total = units;
    nodes.share = 1;
  }
}

// Prepares the graph and evaluates the root into target, which owns or
// wraps the final pixels.
template <class Host>
void renderGraph(FilterBase<Host>* root, Host* host, ImageBuffer<Host>& target) {
  prepareRender(root, host, target);
  EvalResult<Host> result{borrowed(&target), nullptr};
  bool exclusive = true;
  root->evaluate(host, target, result, exclusive, 0);
}

// The same render with the nodes that can run on device, there. Pixels end
// in target as with renderGraph; observer, when given, hears of each step.
template <class Host>
void renderGraphOnDevice(FilterBase<Host>* root, Host* host, DeviceContext* device, ImageBuffer<Host>& target,
                         DeviceObserver* observer = nullptr) {
  prepareRender(root, host, target, true);
  EvalResult<Host> result{borrowed(&target), nullptr};
  bool exclusive = true;
  root->evaluateOnDevice(host, device, observer, target, result, exclusive, 0);
}

}  // namespace OZ::Image
