# Shared build settings: warnings, sanitizers and the test helper.

function(orvgui_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra)
  if(ORVGUI_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

macro(orvgui_apply_sanitizers)
  if(ORVGUI_SANITIZE)
    set(_orvgui_san "-fsanitize=${ORVGUI_SANITIZE} -fno-omit-frame-pointer")
    if(ORVGUI_SANITIZE MATCHES "undefined")
      string(APPEND _orvgui_san " -fno-sanitize-recover=undefined")
    endif()
    string(APPEND CMAKE_C_FLAGS " ${_orvgui_san}")
    string(APPEND CMAKE_CXX_FLAGS " ${_orvgui_san}")
    string(APPEND CMAKE_EXE_LINKER_FLAGS " ${_orvgui_san}")
    string(APPEND CMAKE_SHARED_LINKER_FLAGS " ${_orvgui_san}")
  endif()
endmacro()

# orvgui_add_test(NAME name SOURCES a.cpp b.cpp [LABELS l1 l2] [RESOURCE_LOCK lock])
# One GoogleTest program; each test case becomes its own CTest test. RESOURCE_LOCK serialises
# its cases with every other test that names the same lock (a fixed path the library owns).
function(orvgui_add_test)
  cmake_parse_arguments(T "" "NAME;RESOURCE_LOCK" "SOURCES;LABELS" ${ARGN})
  add_executable(${T_NAME} ${T_SOURCES})
  target_link_libraries(${T_NAME} PRIVATE orvgui GTest::gtest GTest::gtest_main Threads::Threads ${CMAKE_DL_LIBS})
  target_include_directories(${T_NAME} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/tests)
  target_compile_definitions(${T_NAME} PRIVATE
    ORVGUI_TEST_CORPUS="${PROJECT_SOURCE_DIR}/../shared/corpus"
    ORVGUI_TEST_TOOL="$<$<TARGET_EXISTS:orvgui-tool>:$<TARGET_FILE:orvgui-tool>>")
  orvgui_warnings(${T_NAME})
  # Events of the tests go to standard error, not to the machine's system log.
  set(lock_property "")
  if(T_RESOURCE_LOCK)
    set(lock_property RESOURCE_LOCK ${T_RESOURCE_LOCK})
  endif()
  gtest_discover_tests(${T_NAME}
    PROPERTIES LABELS "${T_LABELS}" TIMEOUT 120 ENVIRONMENT "LOGTYPE=stderr" ${lock_property}
    DISCOVERY_TIMEOUT 60)
endfunction()
