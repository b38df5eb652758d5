#include "platform/manifest/hls_attribute_list.h"

#include "platform/manifest/manifest_text.h"

namespace zent::manifest {

std::optional<HlsAttributeList> HlsAttributeList::parse(std::string_view text, std::string& error) {
  HlsAttributeList list;
  std::size_t pos = 0;
  auto skipBlanks = [&] {
    while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t')) ++pos;
  };
  while (true) {
    skipBlanks();
    if (pos >= text.size()) break;
    std::size_t equals = text.find('=', pos);
    std::size_t comma = text.find(',', pos);
    if (equals == std::string_view::npos || (comma != std::string_view::npos && comma < equals)) {
      error = "attribute " + quoted(trim(text.substr(pos, comma - pos))) + " has no value";
      return std::nullopt;
    }
    HlsAttribute attribute;
    attribute.name = std::string(trim(text.substr(pos, equals - pos)));
    if (attribute.name.empty()) {
      error = "attribute without a name";
      return std::nullopt;
    }
    pos = equals + 1;
    skipBlanks();
    if (pos < text.size() && text[pos] == '"') {
      std::size_t close = text.find('"', pos + 1);
      if (close == std::string_view::npos) {
        error = "unterminated quoted value of " + attribute.name;
        return std::nullopt;
      }
      attribute.value = std::string(text.substr(pos + 1, close - pos - 1));
      attribute.quoted = true;
      pos = close + 1;
      skipBlanks();
      if (pos < text.size() && text[pos] != ',') {
        error = "unexpected text after the quoted value of " + attribute.name;
        return std::nullopt;
      }
    } else {
      std::size_t end = text.find(',', pos);
      if (end == std::string_view::npos) end = text.size();
      attribute.value = std::string(trim(text.substr(pos, end - pos)));
      pos = end;
    }
    list.items_.push_back(std::move(attribute));
    if (pos < text.size()) ++pos;  // the comma
  }
  return list;
}

const HlsAttribute* HlsAttributeList::find(std::string_view name) const {
  for (const HlsAttribute& item : items_) {
    if (item.name == name) return &item;
  }
  return nullptr;
}

std::string_view HlsAttributeList::value(std::string_view name) const {
  const HlsAttribute* item = find(name);
  return item ? std::string_view(item->value) : std::string_view();
}

bool HlsAttributeList::isYes(std::string_view name) const {
  return value(name) == "YES";
}

std::string_view tagValue(std::string_view line) {
  std::size_t colon = line.find(':');
  return colon == std::string_view::npos ? std::string_view() : line.substr(colon + 1);
}

}  // namespace zent::manifest
