# cmake -DFROM=<build-deps/adaptivedemux2> -DTO=<build>/gst-plugins -P this file
# Copies the fixed plugin and its status when they changed; removes a stale copy
# when the plugin is no longer built (not needed, or the build failed).
set(plugin libgstzentadaptivedemux2.so)
file(MAKE_DIRECTORY ${TO})
if(EXISTS ${FROM}/${plugin})
  file(COPY_FILE ${FROM}/${plugin} ${TO}/${plugin} ONLY_IF_DIFFERENT)
else()
  file(REMOVE ${TO}/${plugin})
endif()
if(EXISTS ${FROM}/status)
  file(COPY_FILE ${FROM}/status ${TO}/zentadaptivedemux2-status.txt ONLY_IF_DIFFERENT)
else()
  file(REMOVE ${TO}/zentadaptivedemux2-status.txt)
endif()
