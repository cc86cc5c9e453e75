# What the Windows build leaves out is what the documentation says that it leaves out: there, each
# stands at the start of a row of a table.
#
#     cmake -D LEFT_OUT=name,... -D DOCUMENT=... -P left_out_test.cmake

string(REPLACE "," ";" left_out "${LEFT_OUT}")
list(SORT left_out)
file(STRINGS ${DOCUMENT} documented REGEX "^\\| `[a-z_/]+` ")
list(TRANSFORM documented REPLACE "^\\| `([a-z_/]+)` .*" "\\1")
list(SORT documented)
if(NOT documented STREQUAL left_out)
    message(SEND_ERROR "Documented: ${documented}\nLeft out:   ${left_out}")
endif()
