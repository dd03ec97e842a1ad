# The shared library liborvgui.so (SONAME liborvgui.so.1).
# Every .cpp below base/, trace/ and telemetry/ is part of it; headers sit beside their sources.
find_package(Threads REQUIRED)

file(GLOB_RECURSE ORVGUI_SOURCES CONFIGURE_DEPENDS
  ${PROJECT_SOURCE_DIR}/base/*.cpp
  ${PROJECT_SOURCE_DIR}/trace/*.cpp
  ${PROJECT_SOURCE_DIR}/telemetry/*.cpp)

add_library(orvgui SHARED ${ORVGUI_SOURCES})
add_library(orvgui::orvgui ALIAS orvgui)
set_target_properties(orvgui PROPERTIES
  OUTPUT_NAME orvgui
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON
  EXPORT_NAME orvgui)
target_compile_definitions(orvgui
  PRIVATE ORVGUI_BUILDING_LIBRARY
          ORVGUI_VERSION_TEXT="${PROJECT_VERSION}"
          ORVGUI_DEBUG_FILE="liborvgui.so.${PROJECT_VERSION}.debug")
target_include_directories(orvgui
  PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
         $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
         $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/orvgui>
  PRIVATE ${PROJECT_SOURCE_DIR}/base/include)
# Kerberos authentication goes through GSS-API (MIT krb5: libgssapi_krb5, libkrb5).
find_package(PkgConfig REQUIRED)
pkg_check_modules(ORVGUI_KRB5 REQUIRED krb5-gssapi krb5)
target_include_directories(orvgui SYSTEM PRIVATE ${ORVGUI_KRB5_INCLUDE_DIRS})
target_link_libraries(orvgui PUBLIC Threads::Threads PRIVATE ${CMAKE_DL_LIBS} ${ORVGUI_KRB5_LINK_LIBRARIES})
# Every symbol must resolve at link time; clang's sanitizer runtimes are linked into the
# executable, not the library, so a sanitized clang build leaves them to the program.
if(NOT (ORVGUI_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
  target_link_options(orvgui PRIVATE -Wl,--no-undefined)
endif()
orvgui_warnings(orvgui)
# Calls inside the library bind directly (no PLT), so the hot paths cost no indirection.
target_compile_options(orvgui PRIVATE -fno-semantic-interposition)
