# Installs the built library into a temporary prefix, then builds and runs a consumer program
# against it twice: through find_package(orvgui CONFIG) and through pkg-config.
# Arguments: BUILD_DIR, SOURCE_DIR, WORK_DIR.
set(prefix ${WORK_DIR}/prefix)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "failed (${status}): ${ARGN}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
foreach(path include/orvgui/OrvGuiBase.h include/orvgui/OrvGuiTrace.h include/orvgui/base/text/AnsiStr.h
             lib/liborvgui.so.1 lib/cmake/orvgui/orvguiConfig.cmake lib/pkgconfig/orvgui.pc bin/orvgui)
  if(NOT EXISTS ${prefix}/${path})
    message(FATAL_ERROR "not installed: ${path}")
  endif()
endforeach()
if(EXISTS ${prefix}/include/orvgui/base/include/private)
  message(FATAL_ERROR "private headers were installed")
endif()

# The SONAME.
run(objdump -p ${prefix}/lib/liborvgui.so.1)
if(NOT LAST_OUTPUT MATCHES "SONAME +liborvgui\\.so\\.1\n")
  message(FATAL_ERROR "SONAME is not liborvgui.so.1:\n${LAST_OUTPUT}")
endif()

# 1. CMake package.
run(${CMAKE_COMMAND} -S ${SOURCE_DIR}/examples/consumer -B ${WORK_DIR}/cmake-build -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
set(ENV{LD_LIBRARY_PATH} ${prefix}/lib)
run(${WORK_DIR}/cmake-build/consumer)
if(NOT LAST_OUTPUT STREQUAL "Class not registered (0x80040154/2147746132)\nconsumer message\n")
  message(FATAL_ERROR "unexpected consumer output (cmake): ${LAST_OUTPUT}")
endif()

# 2. pkg-config.
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(pkg-config --cflags --libs orvgui)
string(STRIP "${LAST_OUTPUT}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(c++ ${SOURCE_DIR}/examples/consumer/Consumer.cpp ${flags} -o ${WORK_DIR}/consumer-pc)
run(${WORK_DIR}/consumer-pc)
if(NOT LAST_OUTPUT STREQUAL "Class not registered (0x80040154/2147746132)\nconsumer message\n")
  message(FATAL_ERROR "unexpected consumer output (pkg-config): ${LAST_OUTPUT}")
endif()

# 3. The installed tool runs from its prefix.
run(${prefix}/bin/orvgui --version)
message(STATUS "install test passed")
