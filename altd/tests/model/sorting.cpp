#include "model/sorting.h"

#include <cstddef>
#include <cstdlib>
#include <utility>

#include "model/formats.h"

namespace alt_model {
namespace {

int compare_nodes(const Node& a, const Node& b, int index) {
  const int by_key = compare_keys(a.key, b.key, index);
  if (by_key != 0) return by_key;
  if (index == kTimeIndex) return a.server.compare(b.server);
  return static_cast<int>(a.number - b.number);
}

void insertion_sort(std::vector<Node>* nodes, int index) {
  for (size_t i = 1; i < nodes->size(); ++i) {
    Node node = (*nodes)[i];
    size_t at = i;
    while (at > 0 && compare_nodes((*nodes)[at - 1], node, index) > 0) {
      (*nodes)[at] = (*nodes)[at - 1];
      --at;
    }
    (*nodes)[at] = std::move(node);
  }
}

// The middle element is the pivot, the first takes its place, and the hole that this leaves moves
// inwards from both ends.
void quicksort(std::vector<Node>* nodes, int low, int high, int index) {
  if (low >= high) return;
  std::vector<Node>& n = *nodes;
  const auto at = [](int i) { return static_cast<size_t>(i); };
  const int middle = (low + high) / 2;
  const Node pivot = n[at(middle)];
  n[at(middle)] = n[at(low)];
  int i = low;
  int j = high;
  while (i < j) {
    while (i < j && compare_nodes(n[at(j)], pivot, index) > 0) --j;
    if (i == j) break;
    n[at(i++)] = n[at(j)];
    if (i == j) break;
    while (i < j && compare_nodes(n[at(i)], pivot, index) < 0) ++i;
    if (i == j) break;
    n[at(j--)] = n[at(i)];
  }
  n[at(i)] = pivot;
  quicksort(nodes, low, i - 1, index);
  quicksort(nodes, i + 1, high, index);
}

}  // namespace

int compare_keys(const std::string& a, const std::string& b, int index) {
  if (index == kEventIndex) return std::atoi(a.c_str()) - std::atoi(b.c_str());
  return a.compare(b);
}

void sort_nodes(std::vector<Node>* nodes, int index) {
  if (index == kTimeIndex || index == 4) {
    insertion_sort(nodes, index);
  } else {
    quicksort(nodes, 0, static_cast<int>(nodes->size()) - 1, index);
  }
}

}  // namespace alt_model
