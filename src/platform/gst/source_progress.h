#pragma once

#include <gst/gst.h>

#include <cstdint>
#include <optional>

namespace zent {

// How far a progressive network download has come: the pipeline's source element
// (kept through playbin3's source-setup signal) and its byte position against
// the resource's length. The demuxed buffers report no time ranges for plain
// HTTP files, so the fraction read stands in for the loaded part of the timeline.
class SourceProgress {
 public:
  SourceProgress();
  ~SourceProgress();
  SourceProgress(const SourceProgress&) = delete;
  SourceProgress& operator=(const SourceProgress&) = delete;

  // Any thread (playbin3 emits source-setup on a streaming thread).
  void sourceCreated(GstElement* source);
  // Bytes read / bytes in the resource, in 0..1, or nothing when either is unknown.
  std::optional<double> fractionRead() const;
  // Bytes the network source has read so far, or nothing when unknown.
  std::optional<int64_t> bytesRead() const;

 private:
  // The source's byte position, or its length when total is true.
  std::optional<int64_t> queryBytes(bool total) const;

  mutable GWeakRef source_;
};

}  // namespace zent
