# Gets the crates that Cargo.toml pins into FOLDER, through CARGO's ordinary client, and holds them
# against the sums of crates.sha256: cargo checks each file of a crate against its list when it builds,
# and that list names the sum of the whole crate. The folder appears when all of them are there, and
# beside it FOLDER.fetched.
#   cmake -D CARGO=.. -D RUSTC=.. -D FOLDER=.. -P fetch_crates.cmake

set(staging ${FOLDER}.staging)
file(REMOVE_RECURSE ${staging} ${FOLDER})
file(MAKE_DIRECTORY ${staging}/src)
file(COPY ${CMAKE_CURRENT_LIST_DIR}/Cargo.toml DESTINATION ${staging})
file(WRITE ${staging}/src/lib.rs "")

# The cargo of Debian 12 asks the registry file by file, instead of copying all of its index, only
# when it is told that what is unstable to it may be used; to later ones that is nothing new.
set(ENV{RUSTC_BOOTSTRAP} 1)
set(ENV{RUSTC} ${RUSTC})
execute_process(COMMAND ${CARGO} -Z sparse-registry vendor crates WORKING_DIRECTORY ${staging}
                RESULT_VARIABLE result OUTPUT_VARIABLE said ERROR_VARIABLE said)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${said}\nThe crates of the transform could not be fetched. Without a network, "
                        "-DHARMOTRACK_BUILD_TRANSFORM=OFF builds all but the transform.")
endif()

file(GLOB fetched RELATIVE ${staging}/crates ${staging}/crates/*)
set(sums)
foreach(crate ${fetched})
    file(READ ${staging}/crates/${crate}/.cargo-checksum.json list)
    string(JSON sum GET ${list} package)
    file(STRINGS ${staging}/crates/${crate}/Cargo.toml version REGEX "^version = " LIMIT_COUNT 1)
    string(REGEX REPLACE "^version = \"(.*)\"$" "${sum}  ${crate}-\\1" line "${version}")
    list(APPEND sums ${line})
endforeach()
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/crates.sha256 expected)
if(NOT sums STREQUAL expected)
    list(JOIN sums "\n" sums)
    message(FATAL_ERROR "What was fetched is not what crates.sha256 lists:\n${sums}")
endif()
file(RENAME ${staging}/crates ${FOLDER})
file(REMOVE_RECURSE ${staging})
file(TOUCH ${FOLDER}.fetched)
