# The installed package, end to end: installs the build into a fresh prefix,
# checks that every public header is there, then configures, builds and runs
# the host in host/ against that prefix alone. Run by CTest with
# -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DGENERATOR=...
# -DMAKE_PROGRAM=... -DCXX_COMPILER=... -DSANITIZE=...
foreach(var BUILD_DIR SOURCE_DIR WORK_DIR GENERATOR CXX_COMPILER)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "${var} not given")
    endif()
endforeach()
set(prefix ${WORK_DIR}/prefix)
set(host_build ${WORK_DIR}/host)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})

function(run what)
    execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
        RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT code STREQUAL "0")
        message(FATAL_ERROR "${what} failed (${code}):\n${ARGN}\nstdout:\n${out}\nstderr:\n${err}")
    endif()
    set(last_out "${out}" PARENT_SCOPE)
endfunction()

run("install" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# The library with its SONAME links, and the package files.
file(GLOB libraries ${prefix}/lib*/libVellCore.so ${prefix}/lib*/libVellCore.so.*)
list(LENGTH libraries library_count)
if(NOT library_count EQUAL 3)
    message(FATAL_ERROR "expected libVellCore.so, .so.MAJOR and .so.VERSION, found: ${libraries}")
endif()
file(GLOB_RECURSE config_files RELATIVE ${prefix} ${prefix}/*/VellCore*.cmake)
foreach(name VellCoreConfig VellCoreConfigVersion VellCoreTargets)
    if(NOT config_files MATCHES "(^|;)lib[^;]*/cmake/VellCore/${name}.cmake(;|$)")
        message(FATAL_ERROR "no lib/cmake/VellCore/${name}.cmake among: ${config_files}")
    endif()
endforeach()

# Each header of a floor, at the same place under include/VellCore.
file(GLOB headers RELATIVE ${SOURCE_DIR}/src ${SOURCE_DIR}/src/*/*.h)
if(NOT headers)
    message(FATAL_ERROR "no headers under ${SOURCE_DIR}/src")
endif()
foreach(header IN LISTS headers)
    if(NOT EXISTS ${prefix}/include/VellCore/${header})
        message(FATAL_ERROR "${header} was not installed as include/VellCore/${header} "
            "(a header added since the last build is installed once the build has run again)")
    endif()
endforeach()

# The host finds the package through CMAKE_PREFIX_PATH only: no package
# registry, so an older install elsewhere cannot stand in.
set(host_options)
if(MAKE_PROGRAM)
    list(APPEND host_options -DCMAKE_MAKE_PROGRAM=${MAKE_PROGRAM})
endif()
if(SANITIZE)
    # The library is built with the sanitizers; their runtime must come first.
    list(APPEND host_options "-DCMAKE_CXX_FLAGS=-fsanitize=address,undefined -fno-omit-frame-pointer"
        -DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address,undefined)
endif()
run("configuring the host" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install/host -B ${host_build}
    -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=RelWithDebInfo
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF ${host_options})
file(REAL_PATH ${prefix} real_prefix)
string(FIND "${last_out}" " from ${prefix}/" at)
string(FIND "${last_out}" " from ${real_prefix}/" real_at)
if(at EQUAL -1 AND real_at EQUAL -1)
    message(FATAL_ERROR "the host did not find VellCore in ${prefix}:\n${last_out}")
endif()
run("building the host" ${CMAKE_COMMAND} --build ${host_build})
run("running the host" ${host_build}/host)
message(STATUS "${last_out}")

# The plug-in template, built on its own against the installed package (as a
# plug-in author builds it) and loaded by the host through the tool manager.
run("configuring the invert plug-in" ${CMAKE_COMMAND} -S ${SOURCE_DIR}/plugins/invert -B ${WORK_DIR}/invert
    -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX_COMPILER} -DCMAKE_BUILD_TYPE=RelWithDebInfo
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF ${host_options})
run("building the invert plug-in" ${CMAKE_COMMAND} --build ${WORK_DIR}/invert)
if(NOT EXISTS ${WORK_DIR}/invert/invert.mt)
    message(FATAL_ERROR "the plug-in build made no ${WORK_DIR}/invert/invert.mt")
endif()
file(COPY ${WORK_DIR}/invert/invert.mt DESTINATION ${WORK_DIR}/tools/invert)
run("loading the invert plug-in" ${host_build}/host --tools ${WORK_DIR}/tools)
message(STATUS "${last_out}")
