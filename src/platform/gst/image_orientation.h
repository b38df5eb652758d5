#pragma once

#include <string_view>

#include "player/media_player.h"

namespace zent {

// The display transform of a video whose stream carries the image-orientation tag
// ("rotate-90", "flip-rotate-180", ...): the tag says how the decoded picture must
// be turned, clockwise, to be shown upright (flip-* = mirrored horizontally first).
// The result maps a point of the natural picture (row vector times matrix, y down)
// to its displayed place, with the translation that keeps the turned picture at
// the origin, like a track's preferred transform: a quarter turn is a=0, b=1,
// c=-1, d=0, tx=height. An unknown or empty tag gives the identity.
AffineTransform transformForImageOrientation(std::string_view tag, Size2D naturalSize);

}  // namespace zent
