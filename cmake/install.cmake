# What a developer of hosts gets by `cmake --install`: headers, the library with its kernels beside
# it, a CMake package, a pkg-config file, the host layer and the examples as sources. The prefix may
# be moved afterwards.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/harmotrack)

# The C++ headers take locks and open libraries, and need C++20. Hosts in C need not know C++.
find_package(Threads REQUIRED)
target_compile_features(harmotrack INTERFACE cxx_std_20)
target_link_libraries(harmotrack INTERFACE Threads::Threads ${CMAKE_DL_LIBS})

install(
    TARGETS harmotrack
    EXPORT harmotrack
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The kernels lie beside the library: Linux looks for them there, Windows beside the program. The
# definition file makes import libraries for other compilers.
if(WIN32)
    set(kernel_dir ${CMAKE_INSTALL_BINDIR})
    install(FILES ${CMAKE_ARCHIVE_OUTPUT_DIRECTORY}/harmotrack64.def
            DESTINATION ${CMAKE_INSTALL_LIBDIR})
else()
    set(kernel_dir ${CMAKE_INSTALL_LIBDIR})
endif()
foreach(variant IN LISTS HARMOTRACK_VEXCALC_VARIANTS)
    install(TARGETS vexcalc-${variant} LIBRARY DESTINATION ${kernel_dir})
endforeach()

# The transform that can take FFTW's place has a folder of its own there, and the licences of what it
# is made of.
if(HARMOTRACK_BUILD_TRANSFORM)
    install(PROGRAMS ${HARMOTRACK_TRANSFORM_FILE} DESTINATION ${kernel_dir}/harmotrack)
    install(FILES ${PROJECT_SOURCE_DIR}/fft/THIRD_PARTY.md DESTINATION ${CMAKE_INSTALL_DOCDIR}
            RENAME TRANSFORM_LICENCES.md)
endif()

install(EXPORT harmotrack NAMESPACE harmotrack:: DESTINATION ${package_dir}
        FILE harmotrackTargets.cmake)
configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/harmotrackConfig.cmake.in
    ${PROJECT_BINARY_DIR}/harmotrackConfig.cmake INSTALL_DESTINATION ${package_dir})
# Before 1.0 a minor version may change what a host relies on.
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/harmotrackConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/harmotrackConfig.cmake
              ${PROJECT_BINARY_DIR}/harmotrackConfigVersion.cmake DESTINATION ${package_dir})

# Its paths start from where the file lies.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH up_to_prefix /prefix/${pkgconfig_dir} /prefix)
list(TRANSFORM CMAKE_DL_LIBS PREPEND -l OUTPUT_VARIABLE dl_flags)
configure_file(${PROJECT_SOURCE_DIR}/cmake/harmotrack.pc.in ${PROJECT_BINARY_DIR}/harmotrack.pc
               @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/harmotrack.pc DESTINATION ${pkgconfig_dir})

# The host layer and the example hosts as sources, which build against what is installed.
set(kit_dir ${CMAKE_INSTALL_DATADIR}/harmotrack)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples ${PROJECT_SOURCE_DIR}/host DESTINATION ${kit_dir})
install(FILES ${PROJECT_SOURCE_DIR}/cmake/kit/CMakeLists.txt DESTINATION ${kit_dir})
install(FILES ${PROJECT_SOURCE_DIR}/cmake/rules.cmake DESTINATION ${kit_dir}/cmake)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/README.md
              ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
