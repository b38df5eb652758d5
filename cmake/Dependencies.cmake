find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
pkg_check_modules(ZENT_PKG REQUIRED IMPORTED_TARGET
  gstreamer-1.0 gstreamer-app-1.0 gstreamer-video-1.0 gstreamer-audio-1.0
  gstreamer-pbutils-1.0 gstreamer-tag-1.0 gio-2.0 epoxy libcurl pugixml icu-uc)

# Everything the library links against, in one place.
add_library(zent_deps INTERFACE)
target_link_libraries(zent_deps INTERFACE PkgConfig::ZENT_PKG Threads::Threads ${CMAKE_DL_LIBS})
