# cmake -DFROM=<build-deps/adaptivedemux2> -DTO=<build>/gst-plugins -P this file
# Copies the fixed plugin and its status when they changed; removes a stale copy
# when the plugin is no longer built (not needed, or the build failed).
set(plugin libgstzentadaptivedemux2.so)
file(MAKE_DIRECTORY ${TO})
if(EXISTS ${FROM}/${plugin})
  # Through a new file renamed into place: a test still running keeps the old
  # one mapped, and rewriting that file in place would crash it.
  file(SHA256 ${FROM}/${plugin} new_hash)
  set(old_hash "")
  if(EXISTS ${TO}/${plugin})
    file(SHA256 ${TO}/${plugin} old_hash)
  endif()
  if(NOT new_hash STREQUAL old_hash)
    file(COPY_FILE ${FROM}/${plugin} ${TO}/${plugin}.new)
    file(RENAME ${TO}/${plugin}.new ${TO}/${plugin})
  endif()
else()
  file(REMOVE ${TO}/${plugin})
endif()
if(EXISTS ${FROM}/status)
  file(COPY_FILE ${FROM}/status ${TO}/zentadaptivedemux2-status.txt ONLY_IF_DIFFERENT)
else()
  file(REMOVE ${TO}/zentadaptivedemux2-status.txt)
endif()
