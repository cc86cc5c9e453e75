# The library exports exactly the names of one list, undecorated, and that list is what the header
# declares.
#
#     cmake -D NM=... -D LIBRARY=... -D EXPORTS=... -D HEADER=... -P exports_test.cmake

file(STRINGS ${EXPORTS} listed)
list(FILTER listed EXCLUDE REGEX "^(#.*)?$")
list(SORT listed)

# nm prints "<address> <type> <name>"; T is a function.
execute_process(
    COMMAND ${NM} -D --defined-only ${LIBRARY}
    OUTPUT_VARIABLE symbols
    COMMAND_ERROR_IS_FATAL ANY)
string(STRIP "${symbols}" symbols)
string(REPLACE "\n" ";" symbols "${symbols}")
set(exported)
foreach(symbol IN LISTS symbols)
    if(NOT symbol MATCHES "^[0-9a-f]+ T ([A-Za-z0-9]+)$")
        message(SEND_ERROR "Exported, and no plain function: ${symbol}")
    else()
        list(APPEND exported ${CMAKE_MATCH_1})
    endif()
endforeach()
list(SORT exported)
if(NOT exported STREQUAL listed)
    message(SEND_ERROR "Exported: ${exported}\nListed:   ${listed}")
endif()

file(READ ${HEADER} header)
string(REPLACE ";" " " header "${header}")
string(REGEX REPLACE "#define[^\n]*" "" header "${header}")
string(REGEX MATCHALL "HARMOTRACK_API[ \n][^(]*\\(" declarations "${header}")
set(declared)
foreach(declaration IN LISTS declarations)
    if(NOT declaration MATCHES "([A-Za-z0-9]+)\\($")
        message(FATAL_ERROR "No name in: ${declaration}")
    endif()
    list(APPEND declared ${CMAKE_MATCH_1})
endforeach()
list(SORT declared)
if(NOT declared STREQUAL listed)
    message(SEND_ERROR "Declared: ${declared}\nListed:   ${listed}")
endif()
