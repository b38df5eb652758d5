#include "support/utf8.h"

#include <unicode/ubrk.h>
#include <unicode/utext.h>

#include <memory>
#include <string>

#include "support/logger.h"

namespace zent {
namespace {

struct BreakIteratorClose {
  void operator()(UBreakIterator* iterator) const { ubrk_close(iterator); }
};
using BreakIterator = std::unique_ptr<UBreakIterator, BreakIteratorClose>;

// Opening an iterator loads its rules; each thread keeps one and only resets its text.
UBreakIterator* characterIterator() {
  thread_local BreakIterator iterator = [] {
    UErrorCode status = U_ZERO_ERROR;
    BreakIterator opened(ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status));
    if (U_FAILURE(status)) {
      Logger::log(LogLevel::ERROR,
                  std::string("Character count: ICU character break iterator not available: ") +
                      u_errorName(status));
      return BreakIterator();
    }
    return opened;
  }();
  return iterator.get();
}

// ASCII text breaks between every byte except inside CR LF: no iterator needed.
bool countAscii(std::string_view text, int64_t& count) {
  count = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (static_cast<unsigned char>(text[i]) >= 0x80) return false;
    if (!(text[i] == '\n' && i > 0 && text[i - 1] == '\r')) ++count;
  }
  return true;
}

// Fallback when ICU cannot be used: code points, each invalid byte counting one.
int64_t countCodePoints(std::string_view text) {
  int64_t count = 0;
  for (char c : text) count += (static_cast<unsigned char>(c) & 0xC0) != 0x80;
  return count;
}

}  // namespace

int64_t utf8CharacterCount(std::string_view text) {
  int64_t count = 0;
  if (countAscii(text, count)) return count;
  UBreakIterator* iterator = characterIterator();
  if (!iterator) return countCodePoints(text);

  UErrorCode status = U_ZERO_ERROR;
  UText utext = UTEXT_INITIALIZER;
  utext_openUTF8(&utext, text.data(), static_cast<int64_t>(text.size()), &status);
  ubrk_setUText(iterator, &utext, &status);
  if (U_FAILURE(status)) {
    utext_close(&utext);
    return countCodePoints(text);
  }
  count = 0;
  ubrk_first(iterator);
  while (ubrk_next(iterator) != UBRK_DONE) ++count;
  // The iterator must not keep pointing at text that is about to go away.
  UErrorCode resetStatus = U_ZERO_ERROR;
  ubrk_setText(iterator, u"", 0, &resetStatus);
  utext_close(&utext);
  return count;
}

}  // namespace zent
