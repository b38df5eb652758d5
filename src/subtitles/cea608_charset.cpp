#include "subtitles/cea608_charset.h"

namespace zent {

char32_t cea608BasicCharacter(uint8_t code) {
  switch (code) {
    case 0x2A:
      return U'á';
    case 0x5C:
      return U'é';
    case 0x5E:
      return U'í';
    case 0x5F:
      return U'ó';
    case 0x60:
      return U'ú';
    case 0x7B:
      return U'ç';
    case 0x7C:
      return U'÷';
    case 0x7D:
      return U'Ñ';
    case 0x7E:
      return U'ñ';
    case 0x7F:
      return U'█';
    default:
      return code >= 0x20 && code < 0x7F ? code : 0;
  }
}

char32_t cea608SpecialCharacter(uint8_t second) {
  static constexpr char32_t kSpecial[16] = {U'®', U'°', U'½', U'¿', U'™', U'¢', U'£', U'♪',
                                            U'à', 0,    U'è', U'â', U'ê', U'î', U'ô', U'û'};
  return second >= 0x30 && second <= 0x3F ? kSpecial[second - 0x30] : 0;
}

char32_t cea608ExtendedCharacter(uint8_t first, uint8_t second) {
  // 0x12: Spanish, miscellaneous and French; 0x13: Portuguese, German and Danish.
  static constexpr char32_t kSpanishFrench[32] = {U'Á', U'É',  U'Ó', U'Ú', U'Ü', U'ü', U'‘', U'¡',
                                                  U'*', U'\'', U'—', U'©', U'℠', U'•', U'“', U'”',
                                                  U'À', U'Â',  U'Ç', U'È', U'Ê', U'Ë', U'ë', U'Î',
                                                  U'Ï', U'ï',  U'Ô', U'Ù', U'ù', U'Û', U'«', U'»'};
  static constexpr char32_t kPortugueseGerman[32] = {
      U'Ã',  U'ã', U'Í', U'Ì', U'ì', U'Ò', U'ò', U'Õ', U'õ', U'{', U'}',
      U'\\', U'^', U'_', U'|', U'~', U'Ä', U'ä', U'Ö', U'ö', U'ß', U'¥',
      U'¤',  U'│', U'Å', U'å', U'Ø', U'ø', U'┌', U'┐', U'└', U'┘'};
  if (second < 0x20 || second > 0x3F) return 0;
  switch (first & 0xF7) {
    case 0x12:
      return kSpanishFrench[second - 0x20];
    case 0x13:
      return kPortugueseGerman[second - 0x20];
    default:
      return 0;
  }
}

void appendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

}  // namespace zent
