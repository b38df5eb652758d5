// Relative reference resolution (RFC 3986, section 5.2) for the URIs found in
// playlists and MPDs. URLs with a scheme (http, https, file, ...) follow the
// RFC exactly; a base that is a plain local path resolves with path rules.

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "support/text_fetcher.h"

namespace zent {
namespace {

bool isAlpha(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

struct UriParts {
  std::optional<std::string_view> scheme;
  std::optional<std::string_view> authority;
  std::string_view path;
  std::optional<std::string_view> query;
  std::optional<std::string_view> fragment;
};

// scheme = ALPHA *( ALPHA / DIGIT / "+" / "-" / "." ), followed by ':'.
std::optional<std::string_view> schemeOf(std::string_view uri) {
  std::size_t colon = uri.find(':');
  if (colon == std::string_view::npos || colon == 0 || !isAlpha(uri[0])) return std::nullopt;
  for (std::size_t i = 1; i < colon; ++i) {
    char c = uri[i];
    if (!isAlpha(c) && !isDigit(c) && c != '+' && c != '-' && c != '.') return std::nullopt;
  }
  return uri.substr(0, colon);
}

// The split of RFC 3986 appendix B.
UriParts split(std::string_view uri) {
  UriParts parts;
  if ((parts.scheme = schemeOf(uri))) uri.remove_prefix(parts.scheme->size() + 1);
  std::size_t hash = uri.find('#');
  if (hash != std::string_view::npos) {
    parts.fragment = uri.substr(hash + 1);
    uri = uri.substr(0, hash);
  }
  std::size_t question = uri.find('?');
  if (question != std::string_view::npos) {
    parts.query = uri.substr(question + 1);
    uri = uri.substr(0, question);
  }
  if (uri.substr(0, 2) == "//") {
    std::size_t end = uri.find('/', 2);
    if (end == std::string_view::npos) end = uri.size();
    parts.authority = uri.substr(2, end - 2);
    uri.remove_prefix(end);
  }
  parts.path = uri;
  return parts;
}

// RFC 3986 5.2.4.
std::string removeDotSegments(std::string_view input) {
  std::string output;
  while (!input.empty()) {
    if (input.substr(0, 3) == "../") {
      input.remove_prefix(3);
    } else if (input.substr(0, 2) == "./") {
      input.remove_prefix(2);
    } else if (input.substr(0, 3) == "/./") {
      input.remove_prefix(2);
    } else if (input == "/.") {
      input = "/";
    } else if (input.substr(0, 4) == "/../" || input == "/..") {
      input = input.size() == 3 ? std::string_view("/") : input.substr(3);
      std::size_t last = output.rfind('/');
      output.erase(last == std::string::npos ? 0 : last);
    } else if (input == "." || input == "..") {
      input = {};
    } else {
      std::size_t next = input.find('/', input.front() == '/' ? 1 : 0);
      if (next == std::string_view::npos) next = input.size();
      output.append(input.substr(0, next));
      input.remove_prefix(next);
    }
  }
  return output;
}

// RFC 3986 5.2.3.
std::string merge(const UriParts& base, std::string_view referencePath) {
  if (base.authority && base.path.empty()) return "/" + std::string(referencePath);
  std::size_t slash = base.path.rfind('/');
  if (slash == std::string_view::npos) return std::string(referencePath);
  return std::string(base.path.substr(0, slash + 1)) + std::string(referencePath);
}

// RFC 3986 5.3.
std::string recompose(std::optional<std::string_view> scheme,
                      std::optional<std::string_view> authority, std::string_view path,
                      std::optional<std::string_view> query,
                      std::optional<std::string_view> fragment) {
  std::string out;
  if (scheme) out.append(*scheme).append(":");
  if (authority) out.append("//").append(*authority);
  out.append(path);
  if (query) out.append("?").append(*query);
  if (fragment) out.append("#").append(*fragment);
  return out;
}

std::string resolveAgainstPath(const std::string& basePath, const std::string& reference) {
  namespace fs = std::filesystem;
  fs::path resolved = fs::path(reference);
  if (!resolved.is_absolute()) resolved = fs::path(basePath).parent_path() / resolved;
  return resolved.lexically_normal().string();
}

// Start of the query or fragment, or the end. (A loop: find_first_of would
// call memchr on "?#" once per byte.)
std::size_t queryOrFragment(std::string_view uri, std::size_t from = 0) {
  while (from < uri.size() && uri[from] != '?' && uri[from] != '#') ++from;
  return from;
}

// The common case in playlists: a plain relative name ("segment_12.ts?tok=1")
// against a URL base, neither holding dot segments. Then the RFC's merge is
// the base's folder followed by the reference, and the full algorithm can be
// skipped. Nothing when the case does not apply.
std::optional<std::string> resolvePlainName(std::string_view base, std::string_view reference) {
  if (reference.empty() || reference.front() == '/' || reference.front() == '.' ||
      reference.front() == '?' || reference.front() == '#') {
    return std::nullopt;
  }
  std::string_view referencePath = reference.substr(0, queryOrFragment(reference));
  if (referencePath.find(':') != std::string_view::npos ||
      referencePath.find("/.") != std::string_view::npos) {
    return std::nullopt;
  }
  std::optional<std::string_view> scheme = schemeOf(base);
  if (!scheme || base.substr(scheme->size() + 1, 2) != "//") return std::nullopt;
  std::size_t pathStart = base.find('/', scheme->size() + 3);
  std::size_t pathEnd = queryOrFragment(base, scheme->size() + 3);
  if (pathStart == std::string_view::npos || pathStart > pathEnd) {
    return std::string(base.substr(0, pathEnd)) + "/" + std::string(reference);
  }
  std::string_view basePath = base.substr(pathStart, pathEnd - pathStart);
  if (basePath.find("/.") != std::string_view::npos) return std::nullopt;
  std::size_t folderEnd = pathStart + basePath.rfind('/') + 1;
  std::string resolved;
  resolved.reserve(folderEnd + reference.size());
  resolved.append(base.substr(0, folderEnd)).append(reference);
  return resolved;
}

}  // namespace

std::string resolveUrl(const std::string& baseUrl, const std::string& reference) {
  if (auto plain = resolvePlainName(baseUrl, reference)) return std::move(*plain);
  if (schemeOf(reference)) {
    UriParts r = split(reference);
    return recompose(r.scheme, r.authority, removeDotSegments(r.path), r.query, r.fragment);
  }
  if (baseUrl.empty()) return reference;
  UriParts base = split(baseUrl);
  if (!base.scheme) {
    if (reference.empty()) return baseUrl;
    return resolveAgainstPath(baseUrl, reference);
  }

  UriParts r = split(reference);
  std::optional<std::string_view> authority;
  std::string path;
  std::optional<std::string_view> query;
  if (r.authority) {
    authority = r.authority;
    path = removeDotSegments(r.path);
    query = r.query;
  } else {
    authority = base.authority;
    if (r.path.empty()) {
      path = std::string(base.path);
      query = r.query ? r.query : base.query;
    } else {
      path = removeDotSegments(r.path.front() == '/' ? std::string(r.path) : merge(base, r.path));
      query = r.query;
    }
  }
  return recompose(base.scheme, authority, path, query, r.fragment);
}

}  // namespace zent
