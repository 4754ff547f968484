# Installs one or more build trees into one scratch prefix (a Qt 6 and a Qt 5 build can live
# side by side), then builds and runs the consumer against each of them twice: as a CMake
# project (find_package of the build's own package) and as one compiler call with the flags
# of its pkg-config file. Called by CTest with BUILD_DIR (or BUILD_DIRS, a list), SOURCE_DIR,
# WORK_DIR and CONSUMER_FLAGS (the sanitizer flags of a sanitizer build, which the consumer
# must be built with too).
file(REMOVE_RECURSE "${WORK_DIR}")
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT rc EQUAL 0)
        message(FATAL_ERROR "failed (${rc}): ${ARGN}\n${out}\n${err}")
    endif()
    message(STATUS "${out}")
    set(run_output "${out}" PARENT_SCOPE)
endfunction()
if(NOT BUILD_DIRS)
    set(BUILD_DIRS "${BUILD_DIR}")
endif()
set(prefix "${WORK_DIR}/prefix")
foreach(build IN LISTS BUILD_DIRS)
    run(${CMAKE_COMMAND} --install "${build}" --prefix "${prefix}")
endforeach()
separate_arguments(consumer_flags UNIX_COMMAND "${CONSUMER_FLAGS}")
find_program(cxx NAMES c++ g++ REQUIRED)

foreach(build IN LISTS BUILD_DIRS)
    # The names the build installed under: KxXml and kxxml for Qt 6, KxXmlQt5 and kxxml-qt5
    # for Qt 5.
    load_cache("${build}" READ_WITH_PREFIX cache_ KXXML_QT_MAJOR_VERSION)
    if(cache_KXXML_QT_MAJOR_VERSION STREQUAL "5")
        set(package KxXmlQt5)
        set(suffix -qt5)
    else()
        set(package KxXml)
        set(suffix "")
    endif()
    set(work "${WORK_DIR}/${package}")
    run(${CMAKE_COMMAND} -S "${SOURCE_DIR}" -B "${work}/build" "-DCMAKE_PREFIX_PATH=${prefix}"
        "-DKXXML_PACKAGE=${package}" "-DCMAKE_CXX_FLAGS=${CONSUMER_FLAGS}")
    run(${CMAKE_COMMAND} --build "${work}/build")
    run("${work}/build/consumer")

    # pkg-config: the .pc file of the installed tree, wherever it went.
    file(GLOB_RECURSE pc_file "${prefix}/*/pkgconfig/kxxml${suffix}.pc")
    if(NOT pc_file)
        message(FATAL_ERROR "no kxxml${suffix}.pc under ${prefix}")
    endif()
    get_filename_component(pc_dir "${pc_file}" DIRECTORY)
    set(ENV{PKG_CONFIG_PATH} "${pc_dir}")
    run(pkg-config --cflags --libs kxxml${suffix})
    separate_arguments(pc_flags UNIX_COMMAND "${run_output}")
    run("${cxx}" -std=c++17 ${consumer_flags} "${SOURCE_DIR}/main.cpp" -o "${work}/consumer-pc" ${pc_flags})
    run(pkg-config --variable=libdir kxxml${suffix})
    string(STRIP "${run_output}" libdir)
    run(${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${libdir}" "${work}/consumer-pc")

    # Both installed libraries carry the versioned SONAME lib<name>.so.<major version>.
    run(pkg-config --modversion kxxml${suffix})
    string(REGEX MATCH "^[0-9]+" major "${run_output}")
    foreach(lib kxxml${suffix} kxhost${suffix})
        run(objdump -p "${libdir}/lib${lib}.so")
        if(NOT run_output MATCHES "SONAME +lib${lib}\\.so\\.${major}\n")
            message(FATAL_ERROR "lib${lib}.so has no SONAME lib${lib}.so.${major}")
        endif()
    endforeach()
    # The consumers link the Qt of their own build.
    run(objdump -p "${work}/build/consumer")
    if(NOT run_output MATCHES "NEEDED +libQt${cache_KXXML_QT_MAJOR_VERSION}Core\\.so")
        message(FATAL_ERROR "the ${package} consumer does not link Qt ${cache_KXXML_QT_MAJOR_VERSION}")
    endif()
endforeach()
