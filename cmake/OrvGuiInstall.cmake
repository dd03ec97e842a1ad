# make install: the library, the headers under include/orvgui/ keeping their paths, the two
# umbrella headers at include/orvgui/, a CMake package, orvgui.pc and the orvgui tool.
include(CMakePackageConfigHelpers)

install(TARGETS orvgui EXPORT orvguiTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} ${CMAKE_INSTALL_INCLUDEDIR}/orvgui)

file(GLOB_RECURSE ORVGUI_PUBLIC_HEADERS CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
  ${PROJECT_SOURCE_DIR}/base/*.h ${PROJECT_SOURCE_DIR}/trace/*.h ${PROJECT_SOURCE_DIR}/telemetry/*.h)
foreach(header IN LISTS ORVGUI_PUBLIC_HEADERS)
  if(header MATCHES "^base/include/private/")
    continue()
  endif()
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvgui/${dir})
endforeach()
install(FILES base/OrvGuiBase.h trace/OrvGuiTrace.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/orvgui)

install(EXPORT orvguiTargets NAMESPACE orvgui:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvgui)
configure_package_config_file(cmake/orvguiConfig.cmake.in
  ${PROJECT_BINARY_DIR}/orvguiConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvgui)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/orvguiConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvguiConfig.cmake ${PROJECT_BINARY_DIR}/orvguiConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/orvgui)

configure_file(cmake/orvgui.pc.in ${PROJECT_BINARY_DIR}/orvgui.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvgui.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
