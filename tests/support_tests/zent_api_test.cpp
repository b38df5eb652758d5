#include "support/zent_api.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>

#include "support/file_util.h"
#include "support/hls_text.h"

namespace zent::test {
namespace {

// Every name the host header exports, read from the header itself, so a new
// export that the loader does not know about fails here.
std::set<std::string> exportsDeclaredInHeader() {
  std::string header = readFile(ZENT_SOURCE_DIR "/include/zentplayer.h");
  std::set<std::string> names;
  // Declarations start a line with the export macro; the name is the last
  // identifier before the parameter list, the array brackets or the semicolon.
  for (const std::string& line : linesStartingWith(header, "ZENTPLAYER_API ")) {
    size_t end = line.find_first_of("([;");
    if (end == std::string::npos) continue;
    while (end > 0 && line[end - 1] == ' ') --end;
    size_t start = end;
    while (start > 0 &&
           (std::isalnum(static_cast<unsigned char>(line[start - 1])) || line[start - 1] == '_')) {
      --start;
    }
    names.insert(line.substr(start, end - start));
  }
  return names;
}

TEST(ZentApiLoader, KnowsEveryExportOfTheHostHeader) {
  std::set<std::string> declared = exportsDeclaredInHeader();
  ASSERT_GT(declared.size(), 60u);
  const std::vector<std::string>& known = zentApiSymbolNames();
  std::set<std::string> loaded(known.begin(), known.end());
  EXPECT_EQ(loaded.size(), known.size()) << "a name is listed twice";
  EXPECT_EQ(declared, loaded);
}

TEST(ZentApiLoader, ResolvesEveryExportOfTheBuiltLibrary) {
  ZENT_REQUIRE_API(api);
  EXPECT_NE(api->NativeInit, nullptr);
  EXPECT_NE(api->NativeGetVersion, nullptr);
  ASSERT_NE(api->ZentPlayeriOSVersionString, nullptr);
  ASSERT_NE(api->ZentPlayeriOSVersionNumber, nullptr);
  EXPECT_EQ(zentApi(), api) << "the library is loaded once per process";
}

TEST(ZentApiLoader, NamesEveryMissingExport) {
  std::string error;
  EXPECT_FALSE(loadZentApi("libm.so.6", &error));
  EXPECT_NE(error.find("lacks 64 of the 64 host exports"), std::string::npos) << error;
  EXPECT_NE(error.find(" NativeInit"), std::string::npos) << error;
  EXPECT_NE(error.find(" ZentPlayeriOSVersionString"), std::string::npos) << error;
}

TEST(ZentApiLoader, ReportsALibraryThatCannotBeOpened) {
  std::string error;
  EXPECT_FALSE(loadZentApi("/nonexistent/libzentplayer.so", &error));
  EXPECT_NE(error.find("cannot load /nonexistent/libzentplayer.so"), std::string::npos) << error;
}

}  // namespace
}  // namespace zent::test
