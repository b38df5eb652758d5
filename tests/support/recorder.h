// Records what the library hands to a callback (events, log lines), so tests
// can wait for an entry with a timeout, never a sleep, and check order and
// contents. Entry has a `sequence` field and describe().
#ifndef ZENT_TESTS_SUPPORT_RECORDER_H
#define ZENT_TESTS_SUPPORT_RECORDER_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace zent::test {

template <class Entry>
class Recorder {
 public:
  using Predicate = std::function<bool(const Entry&)>;

  void record(Entry entry) {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      entry.sequence = entries_.size();
      entries_.push_back(std::move(entry));
    }
    arrived_.notify_all();
  }
  // The first entry at position >= `from` matching `predicate`, waiting up to
  // `timeout` for it.
  std::optional<Entry> waitFor(const Predicate& predicate, std::chrono::milliseconds timeout,
                               size_t from = 0) const {
    std::unique_lock<std::mutex> lock(mutex_);
    std::optional<Entry> found;
    arrived_.wait_for(lock, timeout, [&] {
      for (; from < entries_.size() && !found; ++from) {
        if (predicate(entries_[from])) found = entries_[from];
      }
      return found.has_value();
    });
    return found;
  }
  size_t count(const Predicate& predicate, size_t from = 0) const {
    std::lock_guard<std::mutex> lock(mutex_);
    size_t matched = 0;
    for (; from < entries_.size(); ++from) matched += predicate(entries_[from]) ? 1 : 0;
    return matched;
  }
  size_t size() const {  // use as a mark: later waits pass it as `from`
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_.size();
  }
  std::vector<Entry> entries() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return entries_;
  }
  void clear() {
    std::lock_guard<std::mutex> lock(mutex_);
    entries_.clear();
  }
  // The last `limit` entries, one per line, for failure messages.
  std::string describe(size_t limit = 200) const {
    std::lock_guard<std::mutex> lock(mutex_);
    std::string text = std::to_string(entries_.size()) + " recorded:\n";
    for (size_t i = entries_.size() > limit ? entries_.size() - limit : 0; i < entries_.size();
         ++i) {
      text += "  " + entries_[i].describe() + "\n";
    }
    return text;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable arrived_;
  std::vector<Entry> entries_;
};

}  // namespace zent::test

#endif
