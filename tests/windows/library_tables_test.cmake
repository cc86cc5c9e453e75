# A DLL exports exactly the given names, undecorated, and needs no library but the system's.
#
#     cmake -D OBJDUMP=... -D LIBRARY=... -D NAMES=name,... -P library_tables_test.cmake

execute_process(
    COMMAND ${OBJDUMP} -p ${LIBRARY}
    OUTPUT_VARIABLE tables
    COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE ";" " " tables "${tables}")

string(REPLACE "," ";" names "${NAMES}")
list(SORT names)
string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table[^\n]*\n(\t\\[[^\n]*\n)*" exports "${tables}")
string(REGEX MATCHALL "\t\\[[^\n]*" exports "${exports}")
list(TRANSFORM exports REPLACE "^\t\\[ *[0-9]+\\] *" "")
list(SORT exports)
if(NOT exports STREQUAL names)
    message(SEND_ERROR "Exported: ${exports}\nListed:   ${names}")
endif()

string(REGEX MATCHALL "DLL Name: [^\n]*" imports "${tables}")
if(NOT imports)
    message(SEND_ERROR "No import table found in ${LIBRARY}")
endif()
foreach(import IN LISTS imports)
    if(NOT import MATCHES "^DLL Name: (KERNEL32|msvcrt)\\.dll$")
        message(SEND_ERROR "Needs a library that is not the system's: ${import}")
    endif()
endforeach()
