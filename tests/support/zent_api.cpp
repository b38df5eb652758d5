#include "support/zent_api.h"

#include <dlfcn.h>

namespace zent::test {
namespace {

struct LoadedApi {
  std::optional<ZentApi> api;
  std::string error;
};

// Opens the library this build made and resolves every export; the error
// names dlopen's reason or every missing symbol.
const LoadedApi& loadedApi() {
  static const LoadedApi loaded = [] {
    LoadedApi result;
    void* handle = dlopen(ZENT_LIBRARY_PATH, RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
      result.error = std::string("cannot load ") + ZENT_LIBRARY_PATH + ": " + dlerror();
      return result;
    }
    ZentApi api;
    api.handle = handle;
    auto find = [&](const char* name) {
      void* symbol = dlsym(handle, name);
      if (!symbol) result.error += std::string(" ") + name;
      return symbol;
    };
#define ZENT_API_RESOLVE(name) api.name = reinterpret_cast<decltype(&::name)>(find(#name));
    ZENT_API_FUNCTIONS(ZENT_API_RESOLVE)
#undef ZENT_API_RESOLVE
    api.ZentPlayeriOSVersionNumber = static_cast<const double*>(find("ZentPlayeriOSVersionNumber"));
    api.ZentPlayeriOSVersionString =
        static_cast<const unsigned char*>(find("ZentPlayeriOSVersionString"));
    if (result.error.empty()) {
      result.api = api;
    } else {
      result.error = std::string(ZENT_LIBRARY_PATH) + " lacks host exports:" + result.error;
    }
    return result;
  }();
  return loaded;
}

}  // namespace

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

const ZentApi* zentApi() {
  return loadedApi().api ? &*loadedApi().api : nullptr;
}

const std::string& zentApiError() {
  return loadedApi().error;
}

void ZentApiTest::SetUp() {
  api_ = zentApi();
  ASSERT_NE(api_, nullptr) << zentApiError();
}

}  // namespace zent::test
