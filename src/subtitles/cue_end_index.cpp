#include "subtitles/cue_end_index.h"

#include <algorithm>
#include <limits>

namespace zent {

void CueEndIndex::rebuild(const std::vector<int64_t>& ends) {
  count_ = ends.size();
  maxEnd_.assign(count_ == 0 ? 0 : 4 * count_, std::numeric_limits<int64_t>::min());
  if (count_ != 0) build(1, 0, count_ - 1, ends);
}

void CueEndIndex::build(size_t node, size_t lo, size_t hi, const std::vector<int64_t>& ends) {
  if (lo == hi) {
    maxEnd_[node] = ends[lo];
    return;
  }
  size_t mid = lo + (hi - lo) / 2;
  build(2 * node, lo, mid, ends);
  build(2 * node + 1, mid + 1, hi, ends);
  maxEnd_[node] = std::max(maxEnd_[2 * node], maxEnd_[2 * node + 1]);
}

std::optional<size_t> CueEndIndex::lastReaching(size_t last, int64_t time) const {
  if (count_ == 0) return std::nullopt;
  return search(1, 0, count_ - 1, std::min(last, count_ - 1), time);
}

// Right subtree first, so the highest position wins. A subtree wholly inside the
// range whose maximum reaches the time always holds an answer, so only one path
// descends past such a subtree and the search stays logarithmic.
std::optional<size_t> CueEndIndex::search(size_t node, size_t lo, size_t hi, size_t last,
                                          int64_t time) const {
  if (lo > last || maxEnd_[node] < time) return std::nullopt;
  if (lo == hi) return lo;
  size_t mid = lo + (hi - lo) / 2;
  if (std::optional<size_t> right = search(2 * node + 1, mid + 1, hi, last, time)) return right;
  return search(2 * node, lo, mid, last, time);
}

}  // namespace zent
