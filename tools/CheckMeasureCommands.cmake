# Runs `lumaro profile` and `lumaro volume` the way users get them wrong, and the way they get
# them right, on a real store.
#   cmake -DLUMARO=<program> [-DEMULATOR=<wine wrapper>] -DSTORE=<folder> -DOUTPUT=<folder>
#         -P CheckMeasureCommands.cmake
cmake_minimum_required(VERSION 3.24)
include("${CMAKE_CURRENT_LIST_DIR}/LumaroCommandChecks.cmake")

file(REMOVE_RECURSE "${OUTPUT}")
file(MAKE_DIRECTORY "${OUTPUT}")
# A line across autzen_trim (its points lie from 636001.76, 848935.2 to 637179.22, 850112.66) and
# a 100 x 50 rectangle inside it.
set(line --from 636200.5,849300.25 --to 637000.75,849900.5)
set(rectangle 636500,849400,636600,849400,636600,849450,636500,849450)

# Each mistake is one line on stderr, naming the value, an exit status that is not 0, and no file.
foreach(mistake "profile;${STORE};${line};--width;0|'0'"
                "profile;${STORE};${line};--width;-2|'-2'"
                "profile;${STORE};--from;636200;--to;637000,849900;--width;5|'636200'"
                "profile;${STORE};--from;x,849300;--to;637000,849900;--width;5|'x'"
                "profile;${STORE};--from;1,2;--to;3,4;--width;5|outside the stores"
                "profile;${STORE};--from;636200,849300;--to;636200,849300;--width;5|the same point"
                "profile;${STORE};${line};--width;5;--heights;10,5|'10,5'"
                "profile;${STORE};${line};--width;5;--mode;normal|'normal'"
                "profile;${STORE};${line};--width;5;--size;100x50|100x50"
                "profile;${STORE}-missing;${line};--width;5|${STORE}-missing"
                "volume;${STORE};--polygon;636500,849400,636600,849400|at least three vertices, not 2"
                "volume;${STORE};--polygon;636500,849400,636600,849450,636600,849400,636500,849450|cross"
                "volume;${STORE};--polygon;636500,849400,636600|pairs"
                "volume;${STORE};--polygon;${rectangle};--cell;0|'0'"
                "volume;${STORE};--polygon;${rectangle};--base;middle|'middle'"
                "volume;${STORE};--polygon;0,0,10,0,10,10|outside the stores")
    string(REPLACE "|" ";" parts "${mistake}")
    list(POP_BACK parts named)
    if(parts MATCHES "^profile")
        list(APPEND parts --output "${OUTPUT}/mistake.png" --points "${OUTPUT}/mistake.txt")
    endif()
    expect_mistake("lumaro: error: " "${named}" ${parts})
    file(GLOB left "${OUTPUT}/*")
    if(left)
        message(FATAL_ERROR "lumaro ${parts} left files behind: ${left}")
    endif()
endforeach()

# A profile: the picture, the points as text and as LAS; as many lines as points reported.
run_lumaro(status out err profile "${STORE}" ${line} --width 8 --mode elevation --output "${OUTPUT}/profile.png"
           --points "${OUTPUT}/profile.txt")
if(NOT status EQUAL 0 OR NOT out MATCHES "wrote .*profile.png" OR NOT err MATCHES "measuring .*100%")
    message(FATAL_ERROR "lumaro profile failed (${status}):\n${out}\n${err}")
endif()
string(REGEX MATCH "^([0-9]+) points in the corridor" unused "${out}")
set(reported "${CMAKE_MATCH_1}")
file(STRINGS "${OUTPUT}/profile.txt" lines)
list(LENGTH lines count)
if(reported LESS 50 OR NOT count EQUAL reported)
    message(FATAL_ERROR "lumaro profile reported ${reported} points and wrote ${count} lines")
endif()
run_lumaro(status out err profile "${STORE}" ${line} --width 8 --points "${OUTPUT}/profile.las")
file(SIZE "${OUTPUT}/profile.las" size)
# The LAS 1.4 header (375 bytes) and 36 bytes a point of format 7.
math(EXPR expected "375 + 36 * ${reported}")
if(NOT status EQUAL 0 OR NOT size EQUAL expected)
    message(FATAL_ERROR "lumaro profile --points profile.las wrote ${size} bytes, not ${expected}:\n${err}")
endif()

# A volume: one JSON object whose area is the rectangle's, 5000 exactly.
run_lumaro(status out err volume "${STORE}" --polygon ${rectangle} --cell 2 --base fit)
if(NOT status EQUAL 0)
    message(FATAL_ERROR "lumaro volume failed (${status}):\n${err}")
endif()
string(JSON area GET "${out}" area)
string(JSON cells GET "${out}" cells)
string(JSON filled GET "${out}" filled_cells)
string(JSON kind GET "${out}" base_kind)
string(JSON above GET "${out}" above)
string(JSON below GET "${out}" below)
string(JSON points GET "${out}" points)
string(JSON base GET "${out}" base)
if(NOT area EQUAL 5000 OR NOT kind STREQUAL "fit" OR cells LESS 1 OR points LESS 1)
    message(FATAL_ERROR "lumaro volume printed:\n${out}")
endif()
math(EXPR allCells "${cells} + ${filled}")
if(NOT allCells EQUAL 1250)
    message(FATAL_ERROR "lumaro volume: ${cells} cells with points and ${filled} filled, not the 50 x 25 of the rectangle:\n${out}")
endif()
message(STATUS "lumaro profile and volume behave: ${reported} points, volume ${above} above and ${below} below ${base}")
