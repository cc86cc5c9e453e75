# See CMakeLists.txt for what comes in.

function(run)
    cmake_parse_arguments(PARSE_ARGV 0 arg "" "OUTPUT;INPUT_FILE" "COMMAND")
    set(input)
    if(arg_INPUT_FILE)
        set(input INPUT_FILE ${arg_INPUT_FILE})
    endif()
    execute_process(COMMAND ${arg_COMMAND} ${input} RESULT_VARIABLE result OUTPUT_VARIABLE output
                    ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN arg_COMMAND " " command)
        message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
    endif()
    if(arg_OUTPUT)
        set(${arg_OUTPUT} "${output}" PARENT_SCOPE)
    endif()
endfunction()

function(expect text pattern)
    if(NOT text MATCHES "${pattern}")
        message(FATAL_ERROR "Expected ${pattern} in\n${text}")
    endif()
endfunction()

# Hosts that pkg-config serves, with all that their authors would complain about.
function(build_by_pkg_config source program)
    run(COMMAND ${PKG_CONFIG} --cflags --libs harmotrack OUTPUT flags)
    separate_arguments(flags UNIX_COMMAND "${flags}")
    run(COMMAND ${CXX} -std=c++20 -Wall -Wextra -Werror ${source} -o ${program} ${flags})
endfunction()

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
set(moved ${WORK}/moved/here)
run(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/first)
file(MAKE_DIRECTORY ${WORK}/moved)
file(RENAME ${WORK}/first ${moved})
set(ENV{PKG_CONFIG_PATH} ${moved}/${LIBDIR}/pkgconfig)
set(ENV{LD_LIBRARY_PATH} ${moved}/${LIBDIR})
set(ENV{CMAKE_GENERATOR} ${GENERATOR}) # the default one's tool may not be there

# Nothing in it knows where it was, or where it was built; debug information would.
if(BUILD_TYPE STREQUAL Release)
    file(GLOB_RECURSE installed LIST_DIRECTORIES false ${moved}/*)
else()
    file(GLOB_RECURSE installed ${moved}/*.cmake ${moved}/*.pc ${moved}/include/* ${moved}/share/*)
endif()
foreach(file ${installed})
    foreach(place ${WORK} ${BUILD} ${SOURCE})
        string(REGEX REPLACE "([][+.*()^$?|\\\\])" "\\\\\\1" pattern "${place}")
        file(STRINGS ${file} naming REGEX "${pattern}")
        if(naming)
            message(FATAL_ERROR "${file} names ${place}")
        endif()
    endforeach()
endforeach()

run(COMMAND ${READELF} -d ${moved}/${LIBDIR}/libharmotrack64.so OUTPUT dynamic)
expect("${dynamic}" "SONAME.*libharmotrack64\\.so\\.${MAJOR}\\]")

# CMake
run(COMMAND ${CMAKE_COMMAND} -S ${SOURCE}/tests/install/cmake_consumer -B ${WORK}/consumer -D
            CMAKE_PREFIX_PATH=${moved} -D CMAKE_CXX_COMPILER=${CXX} -D ASKED_VERSION=${VERSION})
run(COMMAND ${CMAKE_COMMAND} --build ${WORK}/consumer)
run(COMMAND ${WORK}/consumer/consumer)

# CMake, in C, with the example that was installed
run(COMMAND ${CMAKE_COMMAND} -S ${moved}/${DATADIR}/harmotrack/examples/c -B ${WORK}/c -D
            CMAKE_PREFIX_PATH=${moved} -D CMAKE_C_COMPILER=${CC})
run(COMMAND ${CMAKE_COMMAND} --build ${WORK}/c)
run(COMMAND ${WORK}/c/minimal OUTPUT table)
expect("${table}" "1200     1.500   30.0     0.500  -90.0")

# CMake, with the host layer and all examples that were installed: the order map of a machine of
# which one of them makes a recording
set(kit ${WORK}/kit)
run(COMMAND ${CMAKE_COMMAND} -S ${moved}/${DATADIR}/harmotrack -B ${kit} -D CMAKE_PREFIX_PATH=${moved}
            -D CMAKE_CXX_COMPILER=${CXX} -D CMAKE_C_COMPILER=${CC})
run(COMMAND ${CMAKE_COMMAND} --build ${kit} --parallel 2)
run(COMMAND ${kit}/bin/make_run_up ${WORK}/run_up.flac --duration 5 --rate 12800 --end-rpm 3000)
run(COMMAND ${kit}/bin/order_map ${WORK}/run_up.flac --tacho 3 --no-picture --output ${WORK}/results
    OUTPUT summary)
expect("${summary}" "5 s at 12800 Hz\nSpeed +6[0-9][0-9][.0-9]* to 29[0-9][0-9][.0-9]* rpm")
expect("${summary}" "channel 1\n  order 1  ")
run(COMMAND ${kit}/bin/track_speed --help)
run(COMMAND ${kit}/bin/live_monitor --seconds 2 --fast OUTPUT spectra)
expect("${spectra}" "[0-9]+ spectra\n$")

# A project of one's own takes the host layer from there.
run(COMMAND ${CMAKE_COMMAND} -S ${SOURCE}/tests/install/host_consumer -B ${WORK}/host_consumer
            -D CMAKE_PREFIX_PATH=${moved} -D CMAKE_CXX_COMPILER=${CXX}
            -D CMAKE_C_COMPILER=${CC} -D KIT=${moved}/${DATADIR}/harmotrack)
run(COMMAND ${CMAKE_COMMAND} --build ${WORK}/host_consumer --parallel 2)
run(COMMAND ${WORK}/host_consumer/host_consumer)

# pkg-config
run(COMMAND ${PKG_CONFIG} --modversion harmotrack OUTPUT version)
expect("${version}" "^${VERSION}")
build_by_pkg_config(${SOURCE}/tests/install/cmake_consumer/consumer.cpp ${WORK}/by_pkg_config)
run(COMMAND ${WORK}/by_pkg_config)

# The host of the README, as shown, listening to orders 1, 2 and 3 of 20 Hz
file(READ ${SOURCE}/README.md readme)
string(REGEX MATCH "```cpp\n([^`]*)```" shown "${readme}")
file(WRITE ${WORK}/readme_host.cpp "${CMAKE_MATCH_1}")
build_by_pkg_config(${WORK}/readme_host.cpp ${WORK}/readme_host)
# A turn has 50 samples: cos(x) + 0.6 cos(2x) + 0.4 cos(3x).
set(turn)
foreach(
    sample
    2.0000 1.9452 1.7860 1.5375 1.2229 0.8708 0.5117 0.1745 -0.1165 -0.3441
    -0.5000 -0.5848 -0.6074 -0.5831 -0.5309 -0.4708 -0.4208 -0.3944 -0.3993 -0.4363
    -0.5000 -0.5799 -0.6627 -0.7344 -0.7829 -0.8000 -0.7829 -0.7344 -0.6627 -0.5799
    -0.5000 -0.4363 -0.3993 -0.3944 -0.4208 -0.4708 -0.5309 -0.5831 -0.6074 -0.5848
    -0.5000 -0.3441 -0.1165 0.1745 0.5117 0.8708 1.2229 1.5375 1.7860 1.9452)
    string(APPEND turn "${sample}\n")
endforeach()
string(REPEAT "${turn}" 20 second)
file(WRITE ${WORK}/sound.txt "${second}")
run(COMMAND ${WORK}/readme_host INPUT_FILE ${WORK}/sound.txt OUTPUT speeds)
expect("${speeds}" "^0\\.05 s: 1(199|200|201)[.0-9]* rpm\n0\\.1 s: 1(199|200|201)[.0-9]* rpm\n")
