# The fixed adaptivedemux2 plugin that scripts/build-adaptivedemux2.sh builds (run
# by scripts/install-deps.sh) goes to <build>/gst-plugins/, with the script's
# one-line status. The library looks there at run time: beside its own module,
# then in ZENT_GST_PLUGIN_DIR. The copy runs at every build, so a plugin built
# after this directory was configured is picked up too.
set(ZENT_ADAPTIVEDEMUX2_BUILT ${CMAKE_SOURCE_DIR}/build-deps/adaptivedemux2)
set(ZENT_GST_PLUGIN_DIR ${CMAKE_BINARY_DIR}/gst-plugins)

add_custom_target(zent_gst_plugins ALL
  COMMAND ${CMAKE_COMMAND} -DFROM=${ZENT_ADAPTIVEDEMUX2_BUILT} -DTO=${ZENT_GST_PLUGIN_DIR}
          -P ${CMAKE_SOURCE_DIR}/cmake/CopyFixedAdaptiveDemux.cmake
  COMMENT "Fixed adaptivedemux2 plugin -> ${ZENT_GST_PLUGIN_DIR}"
  VERBATIM)
add_dependencies(zent_objects zent_gst_plugins)
set_property(SOURCE ${CMAKE_SOURCE_DIR}/src/platform/gst/adaptive_demux_choice.cpp
  APPEND PROPERTY COMPILE_DEFINITIONS ZENT_GST_PLUGIN_DIR="${ZENT_GST_PLUGIN_DIR}")
