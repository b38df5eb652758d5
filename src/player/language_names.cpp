#include "player/language_names.h"

#include <algorithm>
#include <cctype>

namespace zent {
namespace {

struct Language {
  const char* twoLetter;
  const char* bibliographic;  // ISO 639-2/B
  const char* terminology;    // ISO 639-2/T
  const char* name;
};

// The languages streams commonly carry.
constexpr Language kLanguages[] = {
    {"ar", "ara", "ara", "Arabic"},     {"cs", "cze", "ces", "Czech"},
    {"da", "dan", "dan", "Danish"},     {"de", "ger", "deu", "German"},
    {"el", "gre", "ell", "Greek"},      {"en", "eng", "eng", "English"},
    {"es", "spa", "spa", "Spanish"},    {"fi", "fin", "fin", "Finnish"},
    {"fr", "fre", "fra", "French"},     {"he", "heb", "heb", "Hebrew"},
    {"hi", "hin", "hin", "Hindi"},      {"hu", "hun", "hun", "Hungarian"},
    {"id", "ind", "ind", "Indonesian"}, {"it", "ita", "ita", "Italian"},
    {"ja", "jpn", "jpn", "Japanese"},   {"ko", "kor", "kor", "Korean"},
    {"nl", "dut", "nld", "Dutch"},      {"no", "nor", "nor", "Norwegian"},
    {"pl", "pol", "pol", "Polish"},     {"pt", "por", "por", "Portuguese"},
    {"ro", "rum", "ron", "Romanian"},   {"ru", "rus", "rus", "Russian"},
    {"sv", "swe", "swe", "Swedish"},    {"th", "tha", "tha", "Thai"},
    {"tr", "tur", "tur", "Turkish"},    {"uk", "ukr", "ukr", "Ukrainian"},
    {"vi", "vie", "vie", "Vietnamese"}, {"zh", "chi", "zho", "Chinese"},
};

const Language* find(const std::string& code) {
  std::string primary = code.substr(0, code.find_first_of("-_"));
  std::transform(primary.begin(), primary.end(), primary.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  for (const Language& language : kLanguages) {
    if (primary == language.twoLetter || primary == language.bibliographic ||
        primary == language.terminology) {
      return &language;
    }
  }
  return nullptr;
}

}  // namespace

std::string languageDisplayName(const std::string& code) {
  const Language* language = find(code);
  return language ? language->name : "";
}

std::string bcp47Tag(const std::string& code) {
  const Language* language = find(code);
  if (!language) return code;
  std::string tag = language->twoLetter;
  auto dash = code.find_first_of("-_");
  if (dash != std::string::npos) tag.append("-").append(code, dash + 1, std::string::npos);
  return tag;
}

}  // namespace zent
