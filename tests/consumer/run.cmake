# Installs the build tree into a scratch prefix, then builds and runs the consumer against it
# twice: as a CMake project (find_package) and as one compiler call with the flags of
# `pkg-config --cflags --libs kxxml`. Called by CTest with BUILD_DIR, SOURCE_DIR, WORK_DIR and
# CONSUMER_FLAGS (the sanitizer flags of a sanitizer build, which the consumer must be built
# with too).
file(REMOVE_RECURSE "${WORK_DIR}")
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
    message(STATUS "${out}")
    set(run_output "${out}" PARENT_SCOPE)
endfunction()
set(prefix "${WORK_DIR}/prefix")
run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${prefix}")
run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${WORK_DIR}/build" "-DCMAKE_PREFIX_PATH=${prefix}"
    "-DCMAKE_CXX_FLAGS=${CONSUMER_FLAGS}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/build")
run("${WORK_DIR}/build/consumer")

# pkg-config: the .pc file of the installed tree, wherever it went.
file(GLOB_RECURSE pc_file "${prefix}/*/pkgconfig/kxxml.pc")
if(NOT pc_file)
    message(FATAL_ERROR "no kxxml.pc under ${prefix}")
endif()
get_filename_component(pc_dir "${pc_file}" DIRECTORY)
set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
run(pkg-config --cflags --libs kxxml)
separate_arguments(pc_flags UNIX_COMMAND "${run_output}")
separate_arguments(consumer_flags UNIX_COMMAND "${CONSUMER_FLAGS}")
find_program(cxx NAMES c++ g++ REQUIRED)
run("${cxx}" -std=c++17 ${consumer_flags} "${SOURCE_DIR}/main.cpp" -o "${WORK_DIR}/consumer-pc" ${pc_flags})
run(pkg-config --variable=libdir kxxml)
string(STRIP "${run_output}" libdir)
run(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${libdir}" "${WORK_DIR}/consumer-pc")

# Both installed libraries carry the versioned SONAME lib<name>.so.<major version>.
run(pkg-config --modversion kxxml)
string(REGEX MATCH "^[0-9]+" major "${run_output}")
foreach(lib kxxml kxhost)
    run(objdump -p "${libdir}/lib${lib}.so")
    if(NOT run_output MATCHES "SONAME +lib${lib}\\.so\\.${major}\n")
        message(FATAL_ERROR "lib${lib}.so has no SONAME lib${lib}.so.${major}")
    endif()
endforeach()
