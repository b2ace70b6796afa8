# Runs lumaro on private stores of the tests' servers as a user would, with credentials in the
# environment or the URL: the right ones read the store as on disk; wrong ones fail with a message
# that says access was refused and names the store, and nothing the command prints holds a secret.
#   cmake -DLUMARO=<program> [-DEMULATOR=<wine wrapper>] -DSERVER=<server.json of web-server.sh>
#         -DDATA=<test data folder> [-DRENDER=ON] -P CheckPrivateCommand.cmake
cmake_minimum_required(VERSION 3.24)

file(READ "${SERVER}" server)
string(JSON http GET "${server}" http)
foreach(field user password)
    string(JSON ${field} GET "${server}" private basic ${field})
endforeach()
foreach(field bearer bearer_url s3_endpoint bucket access_key temporary_key secret region token)
    string(JSON ${field} GET "${server}" private ${field})
endforeach()
set(store copc/1.2-with-color.copc.laz)
string(REPLACE "http://" "http://${user}:${password}@" basic "${http}/private/${store}")
string(REPLACE "http://" "http://${user}:not-${password}@" wrongBasic "${http}/private/${store}")
set(secrets "${password}" "${bearer}" "${secret}" "${token}")
set(s3 AWS_ENDPOINT_URL=${s3_endpoint} AWS_REGION=${region} AWS_ACCESS_KEY_ID=${access_key})

execute_process(COMMAND ${EMULATOR} "${LUMARO}" info "${DATA}/${store}" OUTPUT_VARIABLE onDisk RESULT_VARIABLE status)
string(JSON points GET "${onDisk}" points)

# Granted: the same facts as on disk; the store named without its credentials.
foreach(granted "basic|${basic}|" "bearer|${bearer_url}/${store}|LUMARO_HTTP_HEADERS=Authorization: Bearer ${bearer}"
                "s3|s3://${bucket}/${store}|${s3};AWS_SECRET_ACCESS_KEY=${secret}"
                "s3 with a session token|s3://${bucket}/${store}|${s3};AWS_ACCESS_KEY_ID=${temporary_key};AWS_SECRET_ACCESS_KEY=${secret};AWS_SESSION_TOKEN=${token}")
    string(REPLACE "|" ";" parts "${granted}")
    list(POP_FRONT parts what location)
    list(FILTER parts EXCLUDE REGEX "^$")
    execute_process(COMMAND ${CMAKE_COMMAND} -E env ${parts} ${EMULATOR} "${LUMARO}" info "${location}"
                    OUTPUT_VARIABLE info ERROR_VARIABLE errors RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${what}: lumaro info failed (${status}): ${errors}")
    endif()
    string(JSON remotePoints GET "${info}" points)
    if(NOT remotePoints EQUAL points)
        message(FATAL_ERROR "${what}: ${remotePoints} points, on disk ${points}")
    endif()
    foreach(hidden IN LISTS secrets)
        string(FIND "${info}${errors}" "${hidden}" at)
        if(NOT at EQUAL -1)
            message(FATAL_ERROR "${what}: lumaro info printed a secret: ${info}${errors}")
        endif()
    endforeach()
endforeach()

# Refused: a clear message for each, and never a secret.
foreach(refused "a wrong password|${wrongBasic}|" "a wrong bearer token|${bearer_url}/${store}|LUMARO_HTTP_HEADERS=Authorization: Bearer no-${bearer}"
                "a wrong secret key|s3://${bucket}/${store}|${s3};AWS_SECRET_ACCESS_KEY=no-${secret}"
                "a wrong session token|s3://${bucket}/${store}|${s3};AWS_ACCESS_KEY_ID=${temporary_key};AWS_SECRET_ACCESS_KEY=${secret};AWS_SESSION_TOKEN=no-${token}")
    string(REPLACE "|" ";" parts "${refused}")
    list(POP_FRONT parts what location)
    list(FILTER parts EXCLUDE REGEX "^$")
    set(commands info points)
    if(RENDER)
        list(APPEND commands thumbnail)
    endif()
    foreach(command IN LISTS commands)
        execute_process(COMMAND ${CMAKE_COMMAND} -E env ${parts} ${EMULATOR} "${LUMARO}" ${command} "${location}"
                        OUTPUT_VARIABLE output ERROR_VARIABLE errors RESULT_VARIABLE status)
        if(status EQUAL 0)
            message(FATAL_ERROR "${what}: lumaro ${command} succeeded")
        endif()
        string(FIND "${errors}" "access was refused" said)
        if(said EQUAL -1)
            message(FATAL_ERROR "${what}: lumaro ${command} does not say access was refused: ${errors}")
        endif()
        foreach(hidden IN LISTS secrets)
            string(FIND "${output}${errors}" "${hidden}" at)
            if(NOT at EQUAL -1)
                message(FATAL_ERROR "${what}: lumaro ${command} printed a secret: ${output}${errors}")
            endif()
        endforeach()
    endforeach()
endforeach()
