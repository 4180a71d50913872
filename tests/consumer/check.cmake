# Installs the built library into a scratch prefix, then builds and runs the consumer
# program against it twice: as a CMake project (find_package) and with the flags
# pkg-config gives. The installed brixsys program must run from there too.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}")
  endif()
endfunction()
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})
# A sanitizer build needs the same flags in the consumer.
set(flags "")
if(SANITIZE)
  set(flags "-fsanitize=address,undefined")
endif()
run(${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${CXX} -DCMAKE_PREFIX_PATH=${prefix}
    "-DCMAKE_CXX_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run(${WORK_DIR}/build/consumer)

# The same program built the non-CMake way.
set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
execute_process(COMMAND pkg-config --cflags --libs brixsys
  RESULT_VARIABLE rc OUTPUT_VARIABLE pc_flags OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "pkg-config does not find brixsys in ${prefix}/${LIBDIR}/pkgconfig")
endif()
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
run(${CXX} -std=c++20 ${flags} ${SOURCE_DIR}/main.cpp ${pc_flags}
    -Wl,-rpath,${prefix}/${LIBDIR} -o ${WORK_DIR}/consumer-pc)
run(${WORK_DIR}/consumer-pc)

if(EXISTS ${prefix}/bin/brixsys)
  run(${prefix}/bin/brixsys units 0.5)
endif()
