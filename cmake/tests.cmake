# How tests are registered, and how libraries stand in for others, on both platforms.

# Registers the tests of a GoogleTest program.
#   harmotrack_add_tests(TARGET [TEST_PREFIX prefix] [PROPERTIES name value ...])
if(WIN32)
    # To start a program under Wine takes longer than most of its tests do, so a whole program is
    # one test of ctest.
    function(harmotrack_add_tests target)
        cmake_parse_arguments(PARSE_ARGV 1 arg "" TEST_PREFIX PROPERTIES)
        add_test(NAME ${target} COMMAND ${target})
        if(arg_PROPERTIES)
            set_tests_properties(${target} PROPERTIES ${arg_PROPERTIES})
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
