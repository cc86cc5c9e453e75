# How tests are registered, and how libraries stand in for others, on both platforms.

# Registers the tests of a GoogleTest program, all or those that match a filter of GoogleTest's.
#   harmotrack_add_tests(TARGET [TEST_PREFIX prefix] [TEST_FILTER filter] [PROPERTIES name value ...])
#
# To start a program under Wine, or with the run-time library of a sanitizer, takes longer than most
# of its tests do: there a whole program is one test of ctest.
if(WIN32 OR HARMOTRACK_SANITIZE)
    function(harmotrack_add_tests target)
        cmake_parse_arguments(PARSE_ARGV 1 arg "" "TEST_PREFIX;TEST_FILTER" PROPERTIES)
        set(name ${target})
        set(arguments)
        if(arg_TEST_FILTER)
            string(APPEND name :${arg_TEST_FILTER})
            set(arguments --gtest_filter=${arg_TEST_FILTER})
        endif()
        add_test(NAME ${name} COMMAND ${target} ${arguments})
        if(arg_PROPERTIES)
            set_tests_properties(${name} PROPERTIES ${arg_PROPERTIES})
        endif()
    endfunction()
else()
    include(GoogleTest)
    function(harmotrack_add_tests target)
        gtest_discover_tests(${target} DISCOVERY_MODE PRE_TEST ${ARGN})
    endfunction()
endif()

# In paths of sources, the platform that they are for.
if(WIN32)
    set(HARMOTRACK_PLATFORM windows)
else()
    set(HARMOTRACK_PLATFORM linux)
endif()

# The file name by which FFTW is loaded.
function(harmotrack_fftw_file_name name)
    if(WIN32)
        set(${name} libfftw3-3_64.dll PARENT_SCOPE)
    else()
        set(${name} libfftw3.so.3 PARENT_SCOPE)
    endif()
endfunction()

# Builds a library under that name, into a folder of its own.
function(harmotrack_stands_in_for_fftw target folder)
    harmotrack_fftw_file_name(file_name)
    set_target_properties(
        ${target}
        PROPERTIES PREFIX ""
                   OUTPUT_NAME ${file_name}
                   SUFFIX ""
                   LIBRARY_OUTPUT_DIRECTORY ${folder}
                   RUNTIME_OUTPUT_DIRECTORY ${folder}
                   ARCHIVE_OUTPUT_DIRECTORY ${folder})
endfunction()

# The properties of a test whose program is to find libraries in `folder` before those of the system.
# On Windows the folder of the program still comes first.
function(harmotrack_search_folder properties folder)
    if(WIN32)
        set(${properties} WORKING_DIRECTORY ${folder} PARENT_SCOPE)
    else()
        set(${properties} ENVIRONMENT_MODIFICATION LD_LIBRARY_PATH=path_list_prepend:${folder}
            PARENT_SCOPE)
    endif()
endfunction()
