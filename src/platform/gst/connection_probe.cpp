#include "platform/gst/connection_probe.h"

#include <gio/gio.h>

#include <memory>

namespace zent {
namespace {

constexpr guint kProbeTimeoutSeconds = 5;

void connected(GObject* client, GAsyncResult* result, gpointer data) {
  std::unique_ptr<std::function<void(std::string)>> done(
      static_cast<std::function<void(std::string)>*>(data));
  GError* error = nullptr;
  GSocketConnection* connection =
      g_socket_client_connect_to_uri_finish(G_SOCKET_CLIENT(client), result, &error);
  std::string reason;
  if (connection != nullptr) {
    g_object_unref(connection);
  } else {
    reason = error != nullptr ? error->message : "the host cannot be reached";
  }
  if (error != nullptr) g_error_free(error);
  (*done)(reason);
}

}  // namespace

void probeConnection(const std::string& url, std::function<void(std::string reason)> done) {
  guint16 defaultPort = g_str_has_prefix(url.c_str(), "https://") ? 443 : 80;
  GSocketClient* client = g_socket_client_new();
  g_socket_client_set_timeout(client, kProbeTimeoutSeconds);
  g_socket_client_connect_to_uri_async(client, url.c_str(), defaultPort, nullptr, connected,
                                       new std::function<void(std::string)>(std::move(done)));
  g_object_unref(client);  // the pending operation keeps its own reference
}

}  // namespace zent
