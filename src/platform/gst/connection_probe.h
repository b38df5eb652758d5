#pragma once

#include <functional>
#include <string>

namespace zent {

// Finds out why a network address cannot be reached, for engine errors that do not
// say (souphttpsrc reports a refused connection only as a flow error). Connects to
// the URL's host and port asynchronously on the calling thread's default GLib
// context; done(reason) runs there with GIO's reason ("Could not connect to
// 127.0.0.1: Connection refused"), or with "" when the host answers.
void probeConnection(const std::string& url, std::function<void(std::string reason)> done);

}  // namespace zent
