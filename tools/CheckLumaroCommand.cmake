# Runs `lumaro info` and `lumaro points` on a store and compares the results with the facts that an
# independent reference decoder recorded for it (facts.json beside the store).
#   cmake -DLUMARO=<program> [-DEMULATOR=<wine wrapper>] -DSTORE=<folder> -P CheckLumaroCommand.cmake
cmake_minimum_required(VERSION 3.24)

function(run_lumaro output)
    execute_process(COMMAND ${EMULATOR} "${LUMARO}" ${ARGN}
                    OUTPUT_VARIABLE text ERROR_VARIABLE errors RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "lumaro ${ARGN} failed (${status}): ${errors}")
    endif()
    set(${output} "${text}" PARENT_SCOPE)
endfunction()

file(READ "${STORE}/facts.json" facts)
run_lumaro(info info "${STORE}")

# Pairs of reference key and info key.
set(keys points_metadata points points_decoded points_in_nodes nodes nodes max_depth max_depth
         leaf_nodes leaf_nodes nodes_with_zero_points nodes_with_zero_points encoding encoding)
while(keys)
    list(POP_FRONT keys factKey key)
    string(JSON expected GET "${facts}" ${factKey})
    string(JSON actual GET "${info}" ${key})
    if(NOT "${expected}" STREQUAL "${actual}")
        message(FATAL_ERROR "info: ${key} is ${actual}, the reference says ${expected}")
    endif()
endwhile()
string(JSON levels LENGTH "${facts}" nodes_per_level)
string(JSON actualLevels LENGTH "${info}" nodes_per_level)
if(NOT levels EQUAL actualLevels)
    message(FATAL_ERROR "info: ${actualLevels} levels, the reference says ${levels}")
endif()
math(EXPR last "${levels} - 1")
foreach(level RANGE ${last})
    string(JSON expected GET "${facts}" nodes_per_level ${level})
    string(JSON actual GET "${info}" nodes_per_level ${level})
    if(NOT expected EQUAL actual)
        message(FATAL_ERROR "info: ${actual} nodes on level ${level}, the reference says ${expected}")
    endif()
endforeach()

run_lumaro(points points "${STORE}")
string(REGEX MATCHALL "\n" lines "${points}")
list(LENGTH lines count)
string(JSON expected GET "${facts}" points_decoded)
if(NOT count EQUAL expected)
    message(FATAL_ERROR "points: ${count} lines, the reference decodes ${expected} points")
endif()

# Only the root: its point count from the reference's first node.
run_lumaro(rootPoints points "${STORE}" --max-level 0)
string(REGEX MATCHALL "\n" lines "${rootPoints}")
list(LENGTH lines count)
string(JSON expected GET "${facts}" first_nodes 0 numPoints)
if(NOT count EQUAL expected)
    message(FATAL_ERROR "points --max-level 0: ${count} lines, the root holds ${expected} points")
endif()
message(STATUS "lumaro info and points agree with ${STORE}/facts.json")
