# Runs the lumaro commands on a store over HTTP and on the same store on disk, and compares:
# the same facts, the same points, and (with Direct3D, RENDER set) the same picture.
#   cmake -DLUMARO=<program> [-DEMULATOR=<wine wrapper>] -DSERVER=<server.json of web-server.sh>
#         -DSTORE=<path below the test data> -DDATA=<test data folder> -DOUTPUT=<prefix> [-DRENDER=ON]
#         -P CheckRemoteCommand.cmake
cmake_minimum_required(VERSION 3.24)

function(run_lumaro output)
    execute_process(COMMAND ${EMULATOR} "${LUMARO}" ${ARGN}
                    OUTPUT_VARIABLE text ERROR_VARIABLE errors RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "lumaro ${ARGN} failed (${status}): ${errors}")
    endif()
    set(${output} "${text}" PARENT_SCOPE)
endfunction()

file(READ "${SERVER}" server)
string(JSON http GET "${server}" http)
set(url "${http}/${STORE}")
set(local "${DATA}/${STORE}")

run_lumaro(remoteInfo info "${url}")
run_lumaro(localInfo info "${local}")
foreach(key points nodes max_depth spacing)
    string(JSON remote GET "${remoteInfo}" ${key})
    string(JSON here GET "${localInfo}" ${key})
    if(NOT remote STREQUAL here)
        message(FATAL_ERROR "info: ${key} is ${remote} over HTTP but ${here} on disk")
    endif()
endforeach()
string(JSON named GET "${remoteInfo}" store)
if(NOT named STREQUAL url)
    message(FATAL_ERROR "info names the store ${named}, not ${url}")
endif()

run_lumaro(remotePoints points "${url}")
run_lumaro(localPoints points "${local}")
if(NOT remotePoints STREQUAL localPoints)
    message(FATAL_ERROR "points over HTTP differ from the points on disk")
endif()

if(RENDER)
    foreach(where url local)
        run_lumaro(unused render "${${where}}" --output "${OUTPUT}.${where}.png" --size 96x64 --min-node-size 0)
        file(SHA256 "${OUTPUT}.${where}.png" picture_${where})
    endforeach()
    if(NOT picture_url STREQUAL picture_local)
        message(FATAL_ERROR "the picture over HTTP differs from the picture of the store on disk")
    endif()
    run_lumaro(picked pick "${url}" --size 96x64 --at 48,32 --tolerance 8)
    string(JSON x GET "${picked}" point 0)
    if(x STREQUAL "null")
        message(FATAL_ERROR "a pick over HTTP found nothing: ${picked}")
    endif()
    run_lumaro(unused thumbnail "${url}" --output "${OUTPUT}.thumbnail.png" --size 32x16)
endif()
message(STATUS "lumaro agrees over HTTP and on disk for ${STORE}")
