# The rules that every target of ours is compiled by: link harmotrack_rules privately.

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_C_STANDARD 99)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_CXX_EXTENSIONS OFF)

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

# -ffp-contract=off: the compiler adds no roundings of its own, so equal bits hold between builds
# that differ in nothing but the optimiser's mood.
add_library(harmotrack_rules INTERFACE)
target_compile_options(
    harmotrack_rules
    INTERFACE -Wall -Wextra -Wconversion -Wshadow -Wdouble-promotion -ffp-contract=off)

# -g1: reports of a sanitizer name files and lines, and that takes no more.
if(HARMOTRACK_SANITIZE)
    add_compile_options(
        -fsanitize=${HARMOTRACK_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g1)
    add_link_options(-fsanitize=${HARMOTRACK_SANITIZE})
endif()

# For sources that hold a parser of the command line: it is run once, and its templates would keep the
# optimiser busy for longer than all else of the program.
function(harmotrack_not_worth_optimising)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS -O0)
endfunction()
