#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace zent {

// Answers "which is the last cue, among the first n, still on screen at time t" in
// O(log n) with a max tree over the cue end times. With cues ordered by start, that
// cue is the one that started most recently, even when shorter cues started after it
// and have already ended (one long cue under several short ones).
class CueEndIndex {
 public:
  void rebuild(const std::vector<int64_t>& ends);

  // The highest position j <= last with ends[j] >= time, if there is one.
  std::optional<size_t> lastReaching(size_t last, int64_t time) const;

 private:
  void build(size_t node, size_t lo, size_t hi, const std::vector<int64_t>& ends);
  std::optional<size_t> search(size_t node, size_t lo, size_t hi, size_t last, int64_t time) const;

  size_t count_ = 0;
  std::vector<int64_t> maxEnd_;  // node 1 covers all cues; node k has children 2k and 2k+1
};

}  // namespace zent
