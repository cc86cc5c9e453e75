# What is different when the target is Windows: the layout of the build tree, headers that are the
# same for all platforms, GoogleTest, and what is left out. docs/windows.md is about all of it.

# Left out, by target, test or folder, because of
#   - libsndfile, which Debian has no MinGW build of, and the terminal and gnuplot, by which the
#     programs that need it show what they find
#   - malloc() or a C++ heap that the program defines: a DLL of Windows uses neither, and Windows has
#     no aligned_alloc() to build the latter on
#   - what POSIX alone offers: a dlopen() in the program's hands, limits of a process
# docs/windows.md has the same list, and a test compares the two. Sanitizers are presets of Linux.
set(HARMOTRACK_LEFT_OUT
    examples/cpp
    examples/recordings
    harmotrack_allocation_tests
    harmotrack_cache_size_tests
    harmotrack_memory_tests
    harmotrack_face_memory_tests
    harmotrack_limited_memory_tests
    harmotrack_tracker_allocation_tests
    harmotrack_tracker_memory_tests
    harmotrack_kept_memory_tests
    harmotrack_transform_allocation_tests
    harmotrack_without_fftw)

# Windows searches the folder of the program for libraries, not that of the library that loads them:
# programs, the library, its kernels and FFTW share one folder.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_SHARED_LIBRARY_PREFIX "")
set(CMAKE_SHARED_MODULE_PREFIX "")

# Wherever it keeps a vector of 32 bytes on the stack, GCC moves it as if it were aligned; the stack
# of Windows promises 16 bytes. The assembler takes the moves that need no alignment instead.
add_compile_options(-Wa,-muse-unaligned-vector-move)

# The run-time libraries of the compiler become part of each file. Nothing has to lie beside it.
add_link_options(-static)

# Headers that know no platform are copied, so that no other header of this machine is ever found.
# Boost's are so many that a link stands for them.
set(copied ${PROJECT_BINARY_DIR}/headers)
file(COPY /usr/include/fftw3.h /usr/include/eigen3 DESTINATION ${copied}/include)
file(COPY /usr/share/eigen3/cmake DESTINATION ${copied}/share/eigen3)
file(CREATE_LINK /usr/include/boost ${copied}/include/boost SYMBOLIC)
list(APPEND CMAKE_FIND_ROOT_PATH ${copied})

# find_package(GTest) gets it from the sources of Debian's package.
include(FetchContent)
set(INSTALL_GTEST OFF)
FetchContent_Declare(GTest SOURCE_DIR /usr/src/googletest OVERRIDE_FIND_PACKAGE SYSTEM)

# FFTW beside the programs, for the tests.
if(HARMOTRACK_BUILD_TESTS)
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    set(fftw ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/libfftw3-3_64.dll)
    set(fetch ${PROJECT_SOURCE_DIR}/scripts/windows_fftw)
    add_custom_command(
        OUTPUT ${fftw}
        COMMAND ${Python3_EXECUTABLE} ${fetch}.py ${PROJECT_SOURCE_DIR}/build/fftw ${fftw}
        DEPENDS ${fetch}.py ${fetch}.txt
        VERBATIM)
    add_custom_target(windows_fftw ALL DEPENDS ${fftw})
endif()
