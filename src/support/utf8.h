#pragma once

#include <cstdint>
#include <string_view>

namespace zent {

// The number of user-perceived characters of UTF-8 text: code points, with
// combining marks, variation selectors, emoji modifiers and zero-width-joined
// sequences counted with the character they attach to, and CR LF as one.
// Invalid bytes count one each.
int64_t utf8CharacterCount(std::string_view text);

}  // namespace zent
