#pragma once

#include <epoxy/gl.h>

#include <cstddef>
#include <vector>

#include "render/gl_context_probe.h"

namespace zent {

// GL object names of one context, to delete together.
struct GlObjectNames {
  // A fence made with the objects, never waited on: it tells whether the context
  // now current under the same handle is still the one that made them (a host may
  // destroy its context and get a new one at the same address). Sync objects are
  // opaque pointers, unlike the small integer names the host's objects also use.
  GLsync token = nullptr;
  std::vector<GLuint> textures;
  std::vector<GLuint> buffers;
  std::vector<GLuint> framebuffers;
  std::vector<GLuint> vertexArrays;
  std::vector<GLuint> programs;

  bool empty() const;
  // Whether the context current on the calling thread is the one that made them.
  bool ownedByCurrentContext() const;
  // Needs the owning context current on the calling thread. Does nothing when that
  // context has been replaced: its objects went with it.
  void deleteNow() const;
};

// GL objects may only be deleted with their own context current. Objects whose
// owner is freed on another thread (a stream removed from the host's main thread)
// or whose context is no longer current wait here, and are deleted by the next
// renderer call made with that context current. If the host never calls again with
// that context, they stay until the context itself is destroyed (which frees them).
class GlDeferredDeletion {
 public:
  static void schedule(const GlContextId& owner, GlObjectNames names);
  // Deletes what waits for `current`, which must be current on this thread. One
  // atomic read when nothing waits.
  static void collect(const GlContextId& current);
  static std::size_t pendingCount();
};

}  // namespace zent
