#!/usr/bin/env bash
# Plays a sample stream through the reference host, zentplay.
#
#   scripts/demo.sh [BUILD_DIR]        (make demo calls it after building)
#
# 1. Makes a small multi-variant HLS presentation with ffmpeg into
#    BUILD_DIR/demo-media/ (once; later runs reuse it): two video variants
#    (640x360 and 1280x720, 30 fps, 10 s), two audio renditions (English and
#    Commentary) and English WebVTT captions.
# 2. Serves it on a loopback port with python3's http.server.
# 3. Plays it with zentplay: in a window when DISPLAY is set (keys: space,
#    left/right, a, c, v, q), otherwise off-screen, writing PNG snapshots to
#    BUILD_DIR/demo-out/ and printing the event log.
# 4. Stops the server. Exits 0 when the stream played to the end (or the
#    viewer quit), else zentplay's exit status.
set -euo pipefail

BUILD_DIR=$(realpath -m "${1:-build}")
ZENTPLAY="$BUILD_DIR/tools/zentplay/zentplay"
MEDIA="$BUILD_DIR/demo-media"
OUT="$BUILD_DIR/demo-out"
RECIPE="demo-media-v1"  # change when the recipe below changes
SECONDS_LONG=10
SEGMENT=2

say() { printf 'demo: %s\n' "$*"; }

if [ ! -x "$ZENTPLAY" ]; then
  say "building zentplay in $BUILD_DIR"
  cmake --build "$BUILD_DIR" --target zentplay -j"${JOBS:-2}"
fi

vtt_time() {  # seconds (integer or decimal) -> HH:MM:SS.mmm
  awk -v s="$1" 'BEGIN { ms = int(s * 1000 + 0.5);
    printf "%02d:%02d:%02d.%03d", ms / 3600000, (ms / 60000) % 60, (ms / 1000) % 60, ms % 1000 }'
}

# Captions: start, end, text (one cue per line of this table; "|" breaks a line).
CUES=(
  "1.0 2.8 Welcome to ZentPlayer"
  "3.5 5.5 These captions come from the stream|as WebVTT"
  "6.5 8.5 Press c to switch them off"
)

make_media() {
  local work="$MEDIA.tmp"
  rm -rf "$work" && mkdir -p "$work"
  say "making the sample stream in $MEDIA (ffmpeg, a few seconds)"
  # One encoder run makes every rendition, so all share one timeline; a
  # keyframe every 30 frames starts each 2 s segment.
  ffmpeg -nostdin -v error -y \
    -f lavfi -i "testsrc2=size=1280x720:rate=30:duration=$SECONDS_LONG" \
    -f lavfi -i "sine=frequency=440:sample_rate=48000:duration=$SECONDS_LONG" \
    -f lavfi -i "sine=frequency=660:sample_rate=48000:duration=$SECONDS_LONG" \
    -filter_complex "[0:v]split=2[a][b];[a]scale=640:360[v0];[b]copy[v1]" \
    -map "[v0]" -map "[v1]" -map 1:a -map 2:a \
    -c:v libx264 -preset ultrafast -pix_fmt yuv420p -profile:v baseline -bf 0 \
    -g 30 -keyint_min 30 -sc_threshold 0 \
    -b:v:0 800k -maxrate:v:0 800k -bufsize:v:0 1600k \
    -b:v:1 2500k -maxrate:v:1 2500k -bufsize:v:1 5000k \
    -c:a aac -b:a 96k -ac 2 \
    -f hls -hls_time "$SEGMENT" -hls_list_size 0 -hls_playlist_type vod \
    -hls_segment_filename "$work/%v/seg_%03d.ts" \
    -var_stream_map "v:0,name:video_360p v:1,name:video_720p a:0,name:audio_en a:1,name:audio_commentary" \
    "$work/%v/index.m3u8"

  # WebVTT captions, one file per segment. X-TIMESTAMP-MAP ties their zero to
  # the first video timestamp of the MPEG-TS segments, so cue times count from
  # the start of the presentation.
  local start mpegts_zero
  start=$(ffprobe -v error -select_streams v:0 -show_entries stream=start_time \
    -of default=noprint_wrappers=1:nokey=1 "$work/video_360p/seg_000.ts")
  mpegts_zero=$(awk -v s="$start" 'BEGIN { printf "%d", s * 90000 + 0.5 }')
  mkdir -p "$work/subs_en"
  {
    printf '#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:%d\n' "$SEGMENT"
    printf '#EXT-X-MEDIA-SEQUENCE:0\n#EXT-X-PLAYLIST-TYPE:VOD\n'
  } > "$work/subs_en/index.m3u8"
  local index=0 from to name cue cue_start cue_end cue_text
  while [ $((index * SEGMENT)) -lt "$SECONDS_LONG" ]; do
    from=$((index * SEGMENT))
    to=$((from + SEGMENT))
    name=$(printf 'seg_%03d.vtt' "$index")
    {
      printf 'WEBVTT\nX-TIMESTAMP-MAP=MPEGTS:%s,LOCAL:00:00:00.000\n\n' "$mpegts_zero"
      for cue in "${CUES[@]}"; do
        read -r cue_start cue_end cue_text <<< "$cue"
        # A cue belongs to the segment in which it starts.
        if awk -v s="$cue_start" -v a="$from" -v b="$to" 'BEGIN { exit !(s >= a && s < b) }'; then
          printf '%s --> %s\n%s\n\n' "$(vtt_time "$cue_start")" "$(vtt_time "$cue_end")" \
            "${cue_text//|/$'\n'}"
        fi
      done
    } > "$work/subs_en/$name"
    printf '#EXTINF:%d.000,\n%s\n' "$SEGMENT" "$name" >> "$work/subs_en/index.m3u8"
    index=$((index + 1))
  done
  printf '#EXT-X-ENDLIST\n' >> "$work/subs_en/index.m3u8"

  cat > "$work/master.m3u8" <<'M3U8'
#EXTM3U
#EXT-X-VERSION:3
#EXT-X-INDEPENDENT-SEGMENTS
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="English",LANGUAGE="en",DEFAULT=YES,AUTOSELECT=YES,CHANNELS="2",URI="audio_en/index.m3u8"
#EXT-X-MEDIA:TYPE=AUDIO,GROUP-ID="aud",NAME="Commentary",LANGUAGE="en",DEFAULT=NO,AUTOSELECT=NO,CHANNELS="2",URI="audio_commentary/index.m3u8"
#EXT-X-MEDIA:TYPE=SUBTITLES,GROUP-ID="subs",NAME="English",LANGUAGE="en",DEFAULT=YES,AUTOSELECT=YES,FORCED=NO,URI="subs_en/index.m3u8"
#EXT-X-STREAM-INF:BANDWIDTH=1000000,RESOLUTION=640x360,FRAME-RATE=30.000,CODECS="avc1.42c01e,mp4a.40.2",AUDIO="aud",SUBTITLES="subs"
video_360p/index.m3u8
#EXT-X-STREAM-INF:BANDWIDTH=2800000,RESOLUTION=1280x720,FRAME-RATE=30.000,CODECS="avc1.42c01f,mp4a.40.2",AUDIO="aud",SUBTITLES="subs"
video_720p/index.m3u8
M3U8
  echo "$RECIPE" > "$work/recipe"
  rm -rf "$MEDIA"
  mv "$work" "$MEDIA"
}

if [ "$(cat "$MEDIA/recipe" 2>/dev/null || true)" != "$RECIPE" ]; then
  make_media
else
  say "reusing the sample stream in $MEDIA"
fi

# Serve the stream on a free loopback port; the server says which one it got.
SERVER_LOG=$(mktemp)
SERVER_PID=""
cleanup() {
  if [ -n "$SERVER_PID" ]; then kill "$SERVER_PID" 2>/dev/null || true; wait "$SERVER_PID" 2>/dev/null || true; fi
  rm -f "$SERVER_LOG"
}
trap cleanup EXIT
python3 -u -m http.server 0 --bind 127.0.0.1 --directory "$MEDIA" > "$SERVER_LOG" 2>&1 &
SERVER_PID=$!
PORT=""
for _ in $(seq 100); do
  PORT=$(sed -n 's/^Serving HTTP on [^ ]* port \([0-9][0-9]*\).*/\1/p' "$SERVER_LOG")
  [ -n "$PORT" ] && break
  kill -0 "$SERVER_PID" 2>/dev/null || break
  sleep 0.1
done
if [ -z "$PORT" ]; then
  say "the loopback HTTP server did not start:"; cat "$SERVER_LOG"; exit 1
fi
URL="http://127.0.0.1:$PORT/master.m3u8"
say "serving $URL"

mkdir -p "$OUT"
# zentplay prints events, status and the library's log lines on stdout; the
# library also copies its log lines to stderr, which goes to a file here.
STDERR_LOG="$OUT/zentplay.stderr"
ARGS=(--captions --quit-at-end)
if [ -n "${DISPLAY:-}" ]; then
  say "playing in a window (space pause, left/right seek, a audio, c captions, v variant, q quit)"
else
  rm -f "$OUT"/frame_*.png
  say "no DISPLAY: playing off-screen, snapshots every 60 frames into $OUT"
  ARGS+=(--headless --snapshot-every 60 --out "$OUT")
fi
set +e
"$ZENTPLAY" "${ARGS[@]}" "$URL" 2> "$STDERR_LOG" | tee "$OUT/events.log"
STATUS=${PIPESTATUS[0]}
set -e
say "event log: $OUT/events.log; zentplay's stderr: $STDERR_LOG"
if [ "$STATUS" -ne 0 ]; then
  say "zentplay exited with status $STATUS"
  tail -n 20 "$STDERR_LOG" >&2 || true
  exit "$STATUS"
fi
if [ -z "${DISPLAY:-}" ]; then
  say "snapshots: $(find "$OUT" -maxdepth 1 -name 'frame_*.png' | wc -l) PNG files in $OUT"
fi
say "done"
