#include "support/zent_api.h"

#include <dlfcn.h>

namespace zent::test {

const std::vector<std::string>& zentApiSymbolNames() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> all;
#define ZENT_API_NAME(name) all.emplace_back(#name);
    ZENT_API_FUNCTIONS(ZENT_API_NAME)
#undef ZENT_API_NAME
    all.emplace_back("ZentPlayeriOSVersionNumber");
    all.emplace_back("ZentPlayeriOSVersionString");
    return all;
  }();
  return names;
}

std::optional<ZentApi> loadZentApi(const std::string& path, std::string* error) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!handle) {
    if (error) {
      const char* reason = dlerror();
      *error = "cannot load " + path + ": " + (reason ? reason : "unknown dlopen error");
    }
    return std::nullopt;
  }

  ZentApi api;
  api.handle = handle;
  std::vector<std::string> missing;
  auto find = [&](const char* name) {
    void* symbol = dlsym(handle, name);
    if (!symbol) missing.emplace_back(name);
    return symbol;
  };
#define ZENT_API_RESOLVE(name) api.name = reinterpret_cast<decltype(&::name)>(find(#name));
  ZENT_API_FUNCTIONS(ZENT_API_RESOLVE)
#undef ZENT_API_RESOLVE
  api.ZentPlayeriOSVersionNumber = static_cast<const double*>(find("ZentPlayeriOSVersionNumber"));
  api.ZentPlayeriOSVersionString =
      static_cast<const unsigned char*>(find("ZentPlayeriOSVersionString"));

  if (!missing.empty()) {
    if (error) {
      *error = path + " lacks " + std::to_string(missing.size()) + " of the " +
               std::to_string(zentApiSymbolNames().size()) + " host exports:";
      for (const std::string& name : missing) *error += " " + name;
    }
    return std::nullopt;  // the handle stays open; the library may be loaded again
  }
  return api;
}

namespace {

struct LoadedApi {
  std::optional<ZentApi> api;
  std::string error;
};

const LoadedApi& loadedApi() {
  static const LoadedApi loaded = [] {
    LoadedApi result;
#ifdef ZENT_LIBRARY_PATH
    result.api = loadZentApi(ZENT_LIBRARY_PATH, &result.error);
#else
    result.error = "ZENT_LIBRARY_PATH was not defined when the test support library was built";
#endif
    return result;
  }();
  return loaded;
}

}  // namespace

const ZentApi* zentApi() {
  const LoadedApi& loaded = loadedApi();
  return loaded.api ? &*loaded.api : nullptr;
}

const std::string& zentApiError() {
  return loadedApi().error;
}

void ZentApiTest::SetUp() {
  api_ = zentApi();
  ASSERT_NE(api_, nullptr) << zentApiError();
}

}  // namespace zent::test
