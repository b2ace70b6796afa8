# What the checks of the lumaro commands share (included by the Check*.cmake scripts; LUMARO and
# EMULATOR are their -D arguments).

# Runs lumaro with ARGN and hands back its exit status, stdout and stderr.
function(run_lumaro status output errors)
    execute_process(COMMAND ${EMULATOR} "${LUMARO}" ${ARGN}
                    OUTPUT_VARIABLE out ERROR_VARIABLE err RESULT_VARIABLE result)
    set(${status} "${result}" PARENT_SCOPE)
    set(${output} "${out}" PARENT_SCOPE)
    set(${errors} "${err}" PARENT_SCOPE)
endfunction()

# Runs lumaro with ARGN, a mistake: it must fail with one line on stderr that matches `pattern`
# and names `named`.
function(expect_mistake pattern named)
    run_lumaro(status out err ${ARGN})
    string(REGEX MATCHALL "\n" lines "${err}")
    list(LENGTH lines lineCount)
    if(status EQUAL 0 OR NOT lineCount EQUAL 1 OR NOT err MATCHES "${pattern}")
        message(FATAL_ERROR "lumaro ${ARGN}: status ${status}, stderr:\n${err}")
    endif()
    string(FIND "${err}" "${named}" where)
    if(where EQUAL -1)
        message(FATAL_ERROR "lumaro ${ARGN}: the message does not name ${named}:\n${err}")
    endif()
endfunction()
