#include "render/gl_deferred_deletion.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

namespace zent {
namespace {

struct Pending {
  GlContextId owner;
  GlObjectNames names;
};

std::mutex pendingMutex;
std::vector<Pending> pending;  // guarded by pendingMutex
std::atomic<std::size_t> pendingSize{0};

}  // namespace

bool GlObjectNames::empty() const {
  return token == nullptr && textures.empty() && buffers.empty() && framebuffers.empty() &&
         vertexArrays.empty() && programs.empty();
}

bool GlObjectNames::ownedByCurrentContext() const {
  return token == nullptr || glIsSync(token) == GL_TRUE;
}

void GlObjectNames::deleteNow() const {
  if (!ownedByCurrentContext()) return;
  if (token) glDeleteSync(token);
  if (!textures.empty()) glDeleteTextures(static_cast<GLsizei>(textures.size()), textures.data());
  if (!buffers.empty()) glDeleteBuffers(static_cast<GLsizei>(buffers.size()), buffers.data());
  if (!framebuffers.empty()) {
    glDeleteFramebuffers(static_cast<GLsizei>(framebuffers.size()), framebuffers.data());
  }
  if (!vertexArrays.empty()) {
    glDeleteVertexArrays(static_cast<GLsizei>(vertexArrays.size()), vertexArrays.data());
  }
  for (GLuint program : programs) glDeleteProgram(program);
}

void GlDeferredDeletion::schedule(const GlContextId& owner, GlObjectNames names) {
  if (names.empty()) return;
  std::lock_guard<std::mutex> lock(pendingMutex);
  pending.push_back(Pending{owner, std::move(names)});
  pendingSize.store(pending.size(), std::memory_order_release);
}

void GlDeferredDeletion::collect(const GlContextId& current) {
  if (pendingSize.load(std::memory_order_acquire) == 0) return;
  std::vector<Pending> mine;
  {
    std::lock_guard<std::mutex> lock(pendingMutex);
    auto split = std::stable_partition(pending.begin(), pending.end(),
                                       [&](const Pending& p) { return !(p.owner == current); });
    std::move(split, pending.end(), std::back_inserter(mine));
    pending.erase(split, pending.end());
    pendingSize.store(pending.size(), std::memory_order_release);
  }
  for (const Pending& p : mine) p.names.deleteNow();
}

std::size_t GlDeferredDeletion::pendingCount() {
  return pendingSize.load(std::memory_order_acquire);
}

}  // namespace zent
