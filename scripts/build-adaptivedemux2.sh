#!/usr/bin/env bash
# Builds ZentPlayer's fixed adaptivedemux2 plugin (HLS and DASH demuxers) from
# Debian's source package of the installed gst-plugins-good, with the patches in
# scripts/patches/adaptivedemux2, into build-deps/adaptivedemux2/. The CMake
# build copies it beside the library, which loads it when the running GStreamer
# predates the fixes (see src/platform/gst/adaptive_demux_choice.cpp).
#
# Says in one line what it did: built, cached, not needed, or could not build
# (and why). Never fails the caller: without the plugin the library uses
# GStreamer's own demuxers and says so. The result is cached on the Debian
# version and the patches' contents, so a second run costs nothing.
set -uo pipefail

ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
PATCHES="$ROOT/scripts/patches/adaptivedemux2"
OUT="${ZENT_ADAPTIVEDEMUX2_OUT:-$ROOT/build-deps/adaptivedemux2}"
PLUGIN=libgstzentadaptivedemux2.so
WORK="$OUT/work"
LOG="$OUT/build.log"
# Both fixes are in GStreamer from this release on.
FIXED_IN=1.26.9

mkdir -p "$OUT"

# Writes the one-line outcome for people and for the library's log line.
say() {
  echo "adaptivedemux2: $1"
  echo "$1" >"$OUT/status"
}

give_up() {
  rm -f "$OUT/$PLUGIN" "$OUT/cache-key"
  say "could not build the fixed plugin: $1 (details in ${LOG#"$ROOT"/}); the library uses GStreamer's own"
  exit 0
}

installed="$(dpkg-query -W -f='${Version}' gstreamer1.0-plugins-good 2>/dev/null)"
[ -n "$installed" ] || give_up "gstreamer1.0-plugins-good is not installed"
upstream="${installed#*:}"
upstream="${upstream%%-*}"
upstream="${upstream%%+*}"

if dpkg --compare-versions "$upstream" ge "$FIXED_IN"; then
  rm -f "$OUT/$PLUGIN" "$OUT/cache-key"
  say "not needed: GStreamer $upstream carries the fixes (from $FIXED_IN)"
  exit 0
fi

key="$installed $(cat "$PATCHES"/*.patch "${BASH_SOURCE[0]}" | sha256sum | cut -c1-16)"
if [ -f "$OUT/$PLUGIN" ] && [ "$(cat "$OUT/cache-key" 2>/dev/null)" = "$key" ]; then
  echo "adaptivedemux2: cached ($(cat "$OUT/status"))"
  exit 0
fi

for tool in apt-get dpkg-source meson ninja cc patch; do
  command -v "$tool" >/dev/null || give_up "$tool is missing"
done

started=$SECONDS
rm -rf "$WORK"
mkdir -p "$WORK/lists/partial" "$WORK/cache/archives/partial" "$WORK/parts" "$WORK/src"
: >"$LOG"

# A private source list (deb-src twins of the system's Debian entries, read from
# apt-cache policy so both sources.list formats are covered) and private lists
# and cache: the system's apt configuration is left as it is.
apt-cache policy 2>>"$LOG" | awk '
  $1 ~ /^[0-9]+$/ && $2 ~ /^https?:/ && $NF == "Packages" { uri = $2; split($3, sc, "/"); next }
  uri != "" && /o=Debian,/ { print "deb-src " uri " " sc[1] " " sc[2]; uri = "" }
' | sort -u >"$WORK/sources.list"
[ -s "$WORK/sources.list" ] || give_up "no Debian archive in the apt sources"
APT=(apt-get -q
  -o Dir::Etc::SourceList="$WORK/sources.list" -o Dir::Etc::SourceParts="$WORK/parts"
  -o Dir::State::Lists="$WORK/lists" -o Dir::Cache="$WORK/cache"
  -o APT::Sandbox::User=root)
"${APT[@]}" update >>"$LOG" 2>&1 || give_up "apt-get update failed"

# The installed version first; a security update's source may not be served
# (its pool), so then the newest other source of the same upstream release.
versions="$(apt-cache -o Dir::Etc::SourceList="$WORK/sources.list" \
  -o Dir::Etc::SourceParts="$WORK/parts" -o Dir::State::Lists="$WORK/lists" \
  -o Dir::Cache="$WORK/cache" showsrc gst-plugins-good1.0 2>>"$LOG" |
  awk '/^Version: /{print $2}' | sort -u)"
candidates="$installed $(echo "$versions" | grep -v -x -F "$installed" |
  awk -v up="$upstream" 'index($0, up "-") == 1' | sort -r -V | tr '\n' ' ')"
source_version=""
for v in $candidates; do
  if (cd "$WORK/src" && "${APT[@]}" source "gst-plugins-good1.0=$v") >>"$LOG" 2>&1; then
    source_version="$v"
    break
  fi
  rm -rf "${WORK:?}/src" && mkdir -p "$WORK/src"
done
[ -n "$source_version" ] || give_up "no source package of gst-plugins-good $upstream could be fetched"
tree="$(find "$WORK/src" -mindepth 1 -maxdepth 1 -type d -name 'gst-plugins-good*' | head -n1)"
[ -n "$tree" ] || give_up "the source package did not unpack"

for p in "$PATCHES"/*.patch; do
  patch -d "$tree" -p1 --forward --batch <"$p" >>"$LOG" 2>&1 || give_up "$(basename "$p") does not apply"
done

# The plugin alone, with Debian's crypto backend for AES-128 HLS (OpenSSL).
meson setup "$tree/_build" "$tree" --buildtype=release -Dauto_features=disabled \
  -Dadaptivedemux2=enabled -Dhls-crypto=openssl -Dtests=disabled -Dexamples=disabled \
  -Ddoc=disabled -Dnls=disabled -Dorc=disabled >>"$LOG" 2>&1 || give_up "meson setup failed"
ninja -C "$tree/_build" "ext/adaptivedemux2/$PLUGIN" >>"$LOG" 2>&1 || give_up "the build failed"

cp "$tree/_build/ext/adaptivedemux2/$PLUGIN" "$OUT/$PLUGIN.tmp" && mv "$OUT/$PLUGIN.tmp" "$OUT/$PLUGIN" ||
  give_up "the plugin could not be copied"
echo "$key" >"$OUT/cache-key"
rm -rf "$WORK"
from=""
[ "$source_version" != "$installed" ] && from=" from source $source_version (the installed version's source is not served)"
say "built the fixed plugin for gst-plugins-good $installed$from in $((SECONDS - started)) s: ${OUT#"$ROOT"/}/$PLUGIN"
