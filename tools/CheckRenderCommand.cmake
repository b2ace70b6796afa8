# Runs `lumaro render` the way users get it wrong, and, where Direct3D is there (RENDER set), the
# way they get it right.
#   cmake -DLUMARO=<program> [-DEMULATOR=<wine wrapper>] -DSTORE=<folder> -DSECOND_STORE=<folder>
#         -DOUTPUT=<png> [-DRENDER=ON] -P CheckRenderCommand.cmake
cmake_minimum_required(VERSION 3.24)

function(run_lumaro status output errors)
    execute_process(COMMAND ${EMULATOR} "${LUMARO}" ${ARGN}
                    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE result)
    set(${status} "${result}" PARENT_SCOPE)
    set(${output} "${out}" PARENT_SCOPE)
    set(${errors} "${err}" PARENT_SCOPE)
endfunction()

# Each mistake is one line on stderr, naming the value, and an exit status that is not 0.
foreach(mistake "render;${STORE}-missing;--output;${OUTPUT}|${STORE}-missing"
                "render;${STORE};--output;${OUTPUT};--size;0x100|'0'"
                "render;${STORE};--output;${OUTPUT};--size;20000x100|'20000'"
                "render;${STORE};--output;${OUTPUT};--budget;-5|'-5'"
                "render;${STORE};--output;${OUTPUT};--mode;rgb,sepia|'sepia'"
                "render;${STORE};--output;${OUTPUT};--background;12345|'12345'"
                "render;${STORE};--output;${OUTPUT};--frobnicate|--frobnicate")
    string(REPLACE "|" ";" parts "${mistake}")
    list(POP_BACK parts named)
    if(NOT RENDER AND named MATCHES "missing")
        continue() # without Direct3D the command refuses before it looks at the store
    endif()
    run_lumaro(status out err ${parts})
    string(REGEX MATCHALL "\n" lines "${err}")
    list(LENGTH lines lineCount)
    if(status EQUAL 0 OR NOT lineCount EQUAL 1 OR NOT err MATCHES "^lumaro: error: ")
        message(FATAL_ERROR "lumaro ${parts}: status ${status}, stderr:\n${err}")
    endif()
    string(FIND "${err}" "${named}" where)
    if(where EQUAL -1)
        message(FATAL_ERROR "lumaro ${parts}: the message does not name ${named}:\n${err}")
    endif()
endforeach()

if(RENDER)
    # Two views by three colourings of 64 x 48: a PNG of 192 x 96.
    file(REMOVE "${OUTPUT}")
    run_lumaro(status out err render "${STORE}" --output "${OUTPUT}" --size 64x48 --view top,oblique
               --mode rgb,intensity,elevation --budget 20000)
    if(NOT status EQUAL 0 OR NOT EXISTS "${OUTPUT}")
        message(FATAL_ERROR "lumaro render failed (${status}):\n${err}")
    endif()
    if(NOT err MATCHES "loading .*100%")
        message(FATAL_ERROR "lumaro render showed no progress:\n${err}")
    endif()
    # Two stores of one site form one scene.
    run_lumaro(status out err render "${STORE}" "${SECOND_STORE}" --output "${OUTPUT}.two.png" --size 64x48)
    if(NOT status EQUAL 0 OR NOT EXISTS "${OUTPUT}.two.png")
        message(FATAL_ERROR "lumaro render of two stores failed (${status}):\n${err}")
    endif()
    file(READ "${OUTPUT}" header LIMIT 24 HEX)
    string(SUBSTRING "${header}" 32 16 size)
    if(NOT size STREQUAL "000000c000000060")
        message(FATAL_ERROR "lumaro render wrote an image of another size (IHDR ${size})")
    endif()
endif()
message(STATUS "lumaro render refuses bad input and, with Direct3D, renders the grid")
