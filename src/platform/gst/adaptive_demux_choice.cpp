#include "platform/gst/adaptive_demux_choice.h"

#include <dlfcn.h>
#include <gst/gst.h>

#include <cstdlib>
#include <fstream>
#include <tuple>
#include <vector>

#include "support/logger.h"

namespace zent {
namespace {

// What scripts/build-adaptivedemux2.sh said, copied beside the plugin by CMake.
constexpr const char* kStatusFile = "zentadaptivedemux2-status.txt";
constexpr GstRelease kAbortFixed{1, 22, 7};
constexpr GstRelease kRenditionsFixed{1, 26, 9};

bool operator<(GstRelease a, GstRelease b) {
  return std::tie(a.major, a.minor, a.micro) < std::tie(b.major, b.minor, b.micro);
}

std::string text(GstRelease release) {
  return std::to_string(release.major) + "." + std::to_string(release.minor) + "." +
         std::to_string(release.micro);
}

GstRelease runningRelease() {
  guint major = 0, minor = 0, micro = 0, nano = 0;
  gst_version(&major, &minor, &micro, &nano);
  return {major, minor, micro};
}

bool systemForced() {
  const char* value = std::getenv("ZENT_SYSTEM_ADAPTIVEDEMUX");
  return value != nullptr && *value != '\0' && std::string_view(value) != "0";
}

// Where the plugin may be: gst-plugins/ beside the module holding this code (the
// shared library, or a test executable), then the build's own directory.
std::vector<std::string> pluginDirectories() {
  std::vector<std::string> dirs;
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&chooseAdaptiveDemuxer), &info) != 0 &&
      info.dli_fname != nullptr) {
    gchar* moduleDir = g_path_get_dirname(info.dli_fname);
    dirs.emplace_back(std::string(moduleDir) + "/gst-plugins");
    g_free(moduleDir);
  }
#ifdef ZENT_GST_PLUGIN_DIR
  dirs.emplace_back(ZENT_GST_PLUGIN_DIR);
#endif
  return dirs;
}

std::string firstLine(const std::string& path) {
  std::ifstream in(path);
  std::string line;
  std::getline(in, line);
  return line;
}

// The plugin's path, or empty with the reason it is missing in *why.
std::string findPlugin(std::string* why) {
  const std::vector<std::string> dirs = pluginDirectories();
  std::string searched;
  for (const std::string& dir : dirs) {
    std::string path = dir + "/" + kFixedAdaptiveDemuxPlugin;
    if (g_file_test(path.c_str(), G_FILE_TEST_IS_REGULAR)) return path;
    searched += (searched.empty() ? "" : " or ") + dir;
  }
  std::string status;
  for (size_t i = 0; i < dirs.size() && status.empty(); ++i) {
    status = firstLine(dirs[i] + "/" + kStatusFile);
  }
  *why = "the fixed plugin is not in " + searched + "; " +
         (status.empty() ? "scripts/install-deps.sh builds it" : "its build said: " + status);
  return {};
}

// Keeps a plugin built for another release out of autoplugging.
void demote(GstPlugin* plugin) {
  GList* features =
      gst_registry_get_feature_list_by_plugin(gst_registry_get(), gst_plugin_get_name(plugin));
  for (GList* item = features; item != nullptr; item = item->next) {
    gst_plugin_feature_set_rank(GST_PLUGIN_FEATURE(item->data), GST_RANK_NONE);
  }
  gst_plugin_feature_list_free(features);
}

// Loads the plugin; empty on success, otherwise why GStreamer's own is used.
std::string loadFixedPlugin(GstRelease running) {
  std::string why;
  const std::string path = findPlugin(&why);
  if (path.empty()) return why;
  GError* error = nullptr;
  GstPlugin* plugin = gst_plugin_load_file(path.c_str(), &error);
  if (plugin == nullptr) {
    why = "the fixed plugin " + path +
          " could not be loaded: " + (error != nullptr ? error->message : "unknown error");
    if (error != nullptr) g_error_free(error);
    return why;
  }
  const char* built = gst_plugin_get_version(plugin);
  if (built == nullptr || text(running) != built) {
    demote(plugin);
    why = "the fixed plugin was built for GStreamer " + std::string(built ? built : "?") +
          ", not for the running " + text(running);
  }
  gst_object_unref(plugin);
  return why;
}

}  // namespace

std::optional<std::string> systemAdaptiveDemuxReason(GstRelease running, bool forced) {
  if (forced) return "ZENT_SYSTEM_ADAPTIVEDEMUX is set";
  if (!(running < kRenditionsFixed)) return "GStreamer " + text(running) + " carries the fixes";
  return std::nullopt;
}

void chooseAdaptiveDemuxer() {
  const GstRelease running = runningRelease();
  std::optional<std::string> systemReason = systemAdaptiveDemuxReason(running, systemForced());
  if (!systemReason) {
    std::string why = loadFixedPlugin(running);
    if (!why.empty()) systemReason = why;
  }
  if (systemReason) {
    Logger::log(LogLevel::INFO, "Media engine: adaptive streams use the system's adaptivedemux2 (" +
                                    *systemReason + ")");
    return;
  }
  const std::string fixes =
      running < kAbortFixed ? "the fixes in " + text(kAbortFixed) + " and " + text(kRenditionsFixed)
                            : "the fix in " + text(kRenditionsFixed);
  Logger::log(LogLevel::INFO,
              "Media engine: adaptive streams use the project's fixed adaptivedemux2 (GStreamer " +
                  text(running) + " predates " + fixes + ")");
}

bool isHlsDemuxerFactory(std::string_view factoryName) {
  if (factoryName.starts_with("zent")) factoryName.remove_prefix(4);
  return factoryName.starts_with("hlsdemux");
}

}  // namespace zent
