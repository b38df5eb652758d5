#pragma once

namespace zent {

// Marks this shared library as never to be unloaded (RTLD_NODELETE), so a host's
// dlclose leaves it mapped until the process ends. Used when one of its threads
// must outlive the host's last call. Idempotent.
void keepLibraryLoaded();

}  // namespace zent
