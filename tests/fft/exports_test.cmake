# Nothing but what FFTW has under the same names.
execute_process(COMMAND ${NM} -D --defined-only --format=just-symbols ${LIBRARY}
                OUTPUT_VARIABLE found RESULT_VARIABLE result)
string(REGEX REPLACE "\n$" "" found "${found}")
string(REPLACE "\n" ";" found "${found}")
list(SORT found)
set(expected
    fftw_alloc_real fftw_destroy_plan fftw_execute fftw_free fftw_plan_dft_1d fftw_plan_dft_c2r_1d
    fftw_plan_dft_r2c_1d fftw_version)
if(NOT result EQUAL 0 OR NOT found STREQUAL expected)
    message(FATAL_ERROR "It exports ${found}, not ${expected}")
endif()
