# Compresses a file as Debian wants its manual pages and change logs:
#
#   cmake -DGZIP=/bin/gzip -DINPUT=FILE -DOUTPUT=FILE.gz -P Gzip.cmake
#
# gzip -9n: the best compression, and neither the file's name nor its time in
# the header, so the same input makes the same bytes at every build.
foreach(var GZIP INPUT OUTPUT)
    if(NOT DEFINED ${var})
        message(FATAL_ERROR "Gzip.cmake: -D${var}=... is missing")
    endif()
endforeach()
execute_process(COMMAND "${GZIP}" -9n -c "${INPUT}" OUTPUT_FILE "${OUTPUT}.new"
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    file(REMOVE "${OUTPUT}.new")
    message(FATAL_ERROR "gzip -9n ${INPUT} failed: ${status}")
endif()
file(RENAME "${OUTPUT}.new" "${OUTPUT}")
