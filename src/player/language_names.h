#pragma once

#include <string>

namespace zent {

// English name of an ISO 639 language ("en", "eng", "en-US" -> "English"), or ""
// when the code is not known.
std::string languageDisplayName(const std::string& code);

// The BCP-47 form of a language tag: three-letter ISO 639-2 codes that have a
// two-letter form become it ("eng" -> "en", "fre"/"fra" -> "fr"); others stay.
std::string bcp47Tag(const std::string& code);

}  // namespace zent
