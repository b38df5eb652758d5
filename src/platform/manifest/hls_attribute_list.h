#pragma once

// The attribute lists of HLS tags: NAME=value pairs separated by commas, where
// a value is a quoted string (which may hold commas), or a bare token such as
// a number, a resolution or an enumerated string.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zent::manifest {

struct HlsAttribute {
  std::string name;
  std::string value;  // without the quotes of a quoted string
  bool quoted = false;
};

class HlsAttributeList {
 public:
  // Nothing (and `error` set) when the list is malformed: an unterminated
  // quote, a name without '=', text after a quoted value.
  static std::optional<HlsAttributeList> parse(std::string_view text, std::string& error);

  // The first attribute of that name, or null.
  const HlsAttribute* find(std::string_view name) const;
  // Its value, or "" when absent.
  std::string_view value(std::string_view name) const;
  bool has(std::string_view name) const { return find(name) != nullptr; }
  // YES/NO attributes: true only for YES.
  bool isYes(std::string_view name) const;

  const std::vector<HlsAttribute>& items() const { return items_; }

 private:
  std::vector<HlsAttribute> items_;
};

// "<tag>:<attributes>" -> the attribute text; "" when the line has no ':'.
std::string_view tagValue(std::string_view line);

}  // namespace zent::manifest
