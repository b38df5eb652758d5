#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zent {

// The lines of one text buffer from the engine's text sink. Pango markup (what
// the subtitle decoders emit for styled cues) is reduced to its plain text: tags
// dropped, the five XML entities and numeric references decoded. Lines end at LF
// or CRLF; trailing empty lines are dropped, so a blank buffer gives no lines.
std::vector<std::string> captionLines(std::string_view text, bool pangoMarkup);

// The plain text of one caption as the host sees it: one string, its lines (as
// captionLines gives them) joined by "\n"; "" for a blank buffer. A multi-line
// cue is one caption, not one caption per line.
std::string captionText(std::string_view text, bool pangoMarkup);

}  // namespace zent
