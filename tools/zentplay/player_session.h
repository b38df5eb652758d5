#pragma once

// One player driven through the library's exports: opening, the events the
// listener queued, the viewer's actions, and what the render loop polls each
// frame. Every call happens on the render loop's thread.

#include <chrono>
#include <cstdint>
#include <string>

#include "actions.h"
#include "options.h"
#include "player_events.h"
#include "zent_library.h"

namespace zentplay {

class PlayerSession {
 public:
  PlayerSession(ZentLibrary& library, const Options& options);
  ~PlayerSession();  // shutdown()
  PlayerSession(const PlayerSession&) = delete;
  PlayerSession& operator=(const PlayerSession&) = delete;

  // NativeInit with the queueing listener, one auto-playing stream, then the
  // open call for the target. False when the open call is refused.
  bool start();

  // Prints and acts on the events queued since the last call.
  void handleEvents();

  void apply(Action action);

  // Once per frame: the external subtitle shown now (printed when it changes)
  // and the progress watchdog.
  void poll();

  // NativeGetTexture for this player: the GL texture name, 0 when there is no
  // frame to draw. Call with the GL context current.
  unsigned texture() const;
  int64_t videoWidth() const;
  int64_t videoHeight() const;

  // The frame rate to pace off-screen rendering at: the first variant's, or 30.
  double frameRate() const { return frameRate_; }

  bool ready() const { return ready_; }
  bool ended() const { return ended_; }
  bool quitRequested() const { return quitRequested_; }
  // The content did not become ready in time, or playback stopped advancing.
  bool failed() const { return !failure_.empty(); }
  const std::string& failure() const { return failure_; }

  // The caption to draw over the picture: the external subtitle when one was
  // given, else the text of the last caption event; "" for none.
  const std::string& captionText() const {
    return options_.subtitles.empty() ? caption_ : subtitle_;
  }

  // "PLAY 00:03.2 / 00:10.0".
  std::string statusText() const;

  // NativeShutdown, then the events raised while shutting down. Idempotent.
  void shutdown();

 private:
  void onReady();
  void printContentSummary();
  void togglePause();
  void seekBy(int64_t deltaMs);
  void nextAudio();
  void toggleCaptions();
  void nextVariant();

  using Clock = std::chrono::steady_clock;

  ZentLibrary& lib_;
  const Options& options_;
  int32_t index_ = 0;
  bool started_ = false;
  bool shutDown_ = false;
  bool ready_ = false;
  bool ended_ = false;
  bool quitRequested_ = false;
  bool captionsOn_ = false;
  int32_t audioIndex_ = 0;
  int32_t variantIndex_ = -1;  // -1: the engine's own choice
  std::string subtitle_;
  std::string caption_;
  std::string failure_;
  Clock::time_point openedAt_;
  Clock::time_point lastProgressAt_;
  int64_t lastProgressMs_ = -1;
  double frameRate_ = 30.0;
};

}  // namespace zentplay
