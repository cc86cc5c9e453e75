# Directly above each exported function the header says in one line which threads may call it, whether it
# allocates, what it throws, and whether it is fit for real time.
#
#     cmake -D EXPORTS=... -D HEADER=... -P documented_functions_test.cmake

file(STRINGS ${EXPORTS} listed)
list(FILTER listed EXCLUDE REGEX "^(#.*)?$")
file(READ ${HEADER} header)
string(REPLACE ";" "," header "${header}")
set(line " \\* Threads: [^.]+\\. Allocates: [^.]+\\. Throws: [^.]+\\. Realtime: [^.]+\\.\n \\*/\n")
foreach(name IN LISTS listed)
    if(NOT header MATCHES "${line}HARMOTRACK_API [A-Za-z0-9_]+[ \n]${name}\\(")
        message(SEND_ERROR "Above ${name}() is no line of threads, allocations, exceptions and real time.")
    endif()
endforeach()
