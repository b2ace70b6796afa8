# Runs `lumaro index` the way users get it wrong and the way they get it right: the files it writes
# are read back by `lumaro info` (and, where Direct3D is there, drawn next to a Potree store of the
# same points); the COPC files it leaves in OUTPUT are checked by other readers afterwards.
#   cmake -DLUMARO=<program> [-DEMULATOR=<wine wrapper>] -DDATA=<testdata folder> -DOUTPUT=<folder>
#         [-DRENDER=ON] -P CheckIndexCommand.cmake
cmake_minimum_required(VERSION 3.24)
include("${CMAKE_CURRENT_LIST_DIR}/LumaroCommandChecks.cmake")

function(expect_nothing_left folder)
    file(GLOB left "${folder}/*.part-*" "${folder}/lumaro-index-*")
    if(left)
        message(FATAL_ERROR "lumaro index left ${left} behind")
    endif()
endfunction()

file(REMOVE_RECURSE "${OUTPUT}")
file(MAKE_DIRECTORY "${OUTPUT}/temp")
set(las "${DATA}/las")
file(WRITE "${OUTPUT}/notes.las" "x y z\n")

# Each mistake is a message naming the value and an exit status that is not 0, and no output.
foreach(mistake "index;${las}/missing.las;--output;${OUTPUT}/bad.copc.laz|missing.las"
                "index;${OUTPUT}/notes.las;--output;${OUTPUT}/bad.copc.laz|notes.las"
                "index;${las}/autzen_trim.las;${las}/warsaw_small.las;--output;${OUTPUT}/bad.copc.laz|warsaw_small.las"
                "index;${las}/autzen_trim.las;--output;${OUTPUT}/bad.copc.laz;--threads;x|'x'"
                "index;${las}/autzen_trim.las;--output;${OUTPUT}/bad.copc.laz;--memory-limit;8|'8'"
                "index;${las}/autzen_trim.las;--output;${OUTPUT}/bad.copc.laz;--temp;${OUTPUT}/absent|absent"
                "index;${las}/autzen_trim.las;--output;${OUTPUT}/absent/bad.copc.laz|absent"
                "index;${las}/autzen_trim.las|--output")
    string(REPLACE "|" ";" parts "${mistake}")
    list(POP_BACK parts named)
    run_lumaro(status out err ${parts})
    if(status EQUAL 0 OR NOT err MATCHES "lumaro: error: ")
        message(FATAL_ERROR "lumaro ${parts}: status ${status}, stderr:\n${err}")
    endif()
    string(FIND "${err}" "${named}" where)
    if(where EQUAL -1)
        message(FATAL_ERROR "lumaro ${parts}: the message does not name ${named}:\n${err}")
    endif()
    if(EXISTS "${OUTPUT}/bad.copc.laz")
        message(FATAL_ERROR "lumaro ${parts} left an output behind")
    endif()
endforeach()
expect_nothing_left("${OUTPUT}")

# Two tiles of one site into one file, with small nodes (deep trees) and a small memory limit.
run_lumaro(status out err index "${las}/1.2-with-color.las" "${las}/autzen_trim.las" --output "${OUTPUT}/tiles.copc.laz"
           --threads 2 --memory-limit 64 --temp "${OUTPUT}/temp" --max-node-points 200)
if(NOT status EQUAL 0 OR NOT err MATCHES "100% writing" OR NOT out MATCHES "111065 points")
    message(FATAL_ERROR "lumaro index failed (${status}):\n${out}\n${err}")
endif()
file(GLOB temporary "${OUTPUT}/temp/*")
if(temporary)
    message(FATAL_ERROR "lumaro index left temporary files: ${temporary}")
endif()
expect_nothing_left("${OUTPUT}")
run_lumaro(status info err info "${OUTPUT}/tiles.copc.laz")
string(JSON points GET "${info}" points)
string(JSON inNodes GET "${info}" points_in_nodes)
string(JSON format GET "${info}" point_format)
string(JSON levels LENGTH "${info}" nodes_per_level)
if(NOT points EQUAL 111065 OR NOT inNodes EQUAL 111065 OR NOT format EQUAL 7 OR levels LESS 5)
    message(FATAL_ERROR "lumaro info of the index:\n${info}")
endif()

# LAS 1.4, point format 6, with its WKT; and a file indexed again over an older output.
foreach(run 1 2)
    run_lumaro(status out err index "${las}/test1_4.las" --output "${OUTPUT}/test1_4.copc.laz" --max-node-points 100)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "lumaro index of test1_4.las failed (${status}):\n${err}")
    endif()
endforeach()
run_lumaro(status info err info "${OUTPUT}/test1_4.copc.laz")
string(JSON points GET "${info}" points)
string(JSON format GET "${info}" point_format)
if(NOT points EQUAL 1000 OR NOT format EQUAL 6)
    message(FATAL_ERROR "lumaro info of test1_4's index:\n${info}")
endif()

if(RENDER)
    # The renderer draws the index as it draws a Potree store of the same points: with every node
    # loaded and one-pixel points, the two pictures light nearly the same pixels.
    run_lumaro(status out err index "${las}/autzen_trim.las" --output "${OUTPUT}/autzen.copc.laz")
    set(counts "")
    foreach(store "${DATA}/potree2/autzen_trim-brotli" "${OUTPUT}/autzen.copc.laz")
        get_filename_component(name "${store}" NAME)
        run_lumaro(status out err render "${store}" --output "${OUTPUT}/${name}.png" --size 96x64 --min-node-size 0
                   --max-point-size 1 --points "${OUTPUT}/${name}.txt")
        if(NOT status EQUAL 0)
            message(FATAL_ERROR "lumaro render of ${store} failed (${status}):\n${err}")
        endif()
        file(STRINGS "${OUTPUT}/${name}.txt" lines)
        list(LENGTH lines count)
        list(APPEND counts ${count})
    endforeach()
    list(GET counts 0 potree)
    list(GET counts 1 copc)
    math(EXPR low "${potree} * 97 / 100")
    math(EXPR high "${potree} * 103 / 100")
    if(copc LESS low OR copc GREATER high OR potree LESS 1000)
        message(FATAL_ERROR "the index lights ${copc} pixels, the Potree store of the same points ${potree}")
    endif()
endif()
message(STATUS "lumaro index refuses bad input and writes COPC files that lumaro reads")
