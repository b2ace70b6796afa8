# Runs `lumaro render` the way users get it wrong, and, where Direct3D is there (RENDER set), the
# way they get it right.
#   cmake -DLUMARO=<program> [-DEMULATOR=<wine wrapper>] -DSTORE=<folder> -DSECOND_STORE=<folder>
#         -DMESH_STORE=<folder> -DMESH=<obj of MESH_STORE's site> -DPANO=<equirectangular image>
#         -DCOPC=<COPC file of MESH_STORE's points>
#         -DOUTPUT=<png> [-DRENDER=ON]
#         -P CheckRenderCommand.cmake
cmake_minimum_required(VERSION 3.24)
include("${CMAKE_CURRENT_LIST_DIR}/LumaroCommandChecks.cmake")

# A coordinate as whole millimetres (CMake's arithmetic is integer only).
function(millimetres value output)
    string(REGEX MATCH "^(-?[0-9]+)\\.?([0-9]*)" unused "${value}")
    set(fraction "${CMAKE_MATCH_2}000")
    string(SUBSTRING "${fraction}" 0 3 fraction)
    set(${output} "${CMAKE_MATCH_1}${fraction}" PARENT_SCOPE)
endfunction()

# Each mistake is one line on stderr, naming the value, and an exit status that is not 0.
foreach(mistake "render;${STORE}-missing;--output;${OUTPUT}|${STORE}-missing"
                "render;${STORE};--output;${OUTPUT};--size;0x100|'0'"
                "render;${STORE};--output;${OUTPUT};--size;20000x100|'20000'"
                "render;${STORE};--output;${OUTPUT};--budget;-5|'-5'"
                "render;${STORE};--output;${OUTPUT};--threads;-1|'-1'"
                "render;${STORE};--output;${OUTPUT};--cache-limit;x|'x'"
                "render;${STORE};--output;${OUTPUT};--mode;rgb,sepia|'sepia'"
                "render;${STORE};--output;${OUTPUT};--background;12345|'12345'"
                "render;${STORE};--output;${OUTPUT};--frobnicate|--frobnicate"
                "render;${STORE};--output;${OUTPUT};--points;${OUTPUT}.txt;--view;top,oblique|--points"
                "render;${STORE};--output;${OUTPUT};--mode;rgb,mesh-distance|--distance-mesh"
                "render;${STORE};--output;${OUTPUT};--range;5,1|'5,1'"
                "render;${STORE};--output;${OUTPUT};--warn;-1,x|'x'"
                "render;${STORE};--output;${OUTPUT};--mesh-scale;0|'0'"
                "render;${STORE};--output;${OUTPUT};--edl;x|'x'"
                "render;${STORE};--output;${OUTPUT};--edl;1,0.5|'0.5'"
                "render;${STORE};--output;${OUTPUT};--edl;1,2,3|'1,2,3'"
                "render;${STORE};--output;${OUTPUT};--splats;best|'best'"
                "render;${STORE};--output;${OUTPUT};--classes;2,256|'256'"
                "render;${STORE};--output;${OUTPUT};--class-colors;2:ff0000|'2:ff0000'"
                "render;${STORE};--output;${OUTPUT};--class-colors;2=red|'red'"
                "render;${STORE};--output;${OUTPUT};--mesh;${MESH}-missing|${MESH}-missing"
                "render;${STORE};--output;${OUTPUT};--mode;mesh-distance;--distance-mesh;${MESH}-missing|${MESH}-missing"
                "render;${STORE};--output;${OUTPUT};--view;pano|--pano"
                "render;${STORE};--output;${OUTPUT};--pano;${PANO};--pano-at;1,2|'1,2'"
                "render;${STORE};--output;${OUTPUT};--pano-cube;${PANO},${PANO}|six"
                "render;${STORE};--output;${OUTPUT};--pano;${PANO}-missing|${PANO}-missing"
                "render;${STORE};--output;${OUTPUT};--pano;${PANO};--pano-depth;${PANO}|${PANO}"
                "render;${STORE};--output;${OUTPUT};--clip-box;1,2,3|'1,2,3'"
                "render;${STORE};--output;${OUTPUT};--clip-box;1,2,3,4,0,6|size along each axis"
                "render;${STORE};--output;${OUTPUT};--clip-polygon;1,2,3,4|at least three vertices"
                "render;${STORE};--output;${OUTPUT};--clip-polygon;1,1,2,2,3|pairs"
                "render;${STORE};--output;${OUTPUT};--clip-box;1,2,3,4,5,6;--clip-effect;sideways|'sideways'"
                "render;${STORE};--output;${OUTPUT};--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6;--clip-box;1,2,3,4,5,6|at most 8"
                "pick;${STORE};--at;5|'5'"
                "pick;${STORE};--size;64x48;--at;5,48|'48'"
                "pick;${STORE};--at;1,1;--tolerance;0|'0'"
                "pick;${STORE};--at;1,1;--plane;-1|'-1'"
                "thumbnail;${STORE};--size;0x0|'0'"
                "thumbnail;${STORE}-missing|${STORE}-missing")
    string(REPLACE "|" ";" parts "${mistake}")
    list(POP_BACK parts named)
    if(NOT RENDER AND (named MATCHES "missing" OR mistake MATCHES "--pano-depth"))
        continue() # without Direct3D the command refuses before it looks at the files
    endif()
    expect_mistake("^lumaro: error: " "${named}" ${parts})
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
    # The loading figures: one JSON line on stderr, after the progress; times in order, what was
    # loaded within the budget, what was read, and the threads asked for.
    run_lumaro(status out err render "${STORE}" --output "${OUTPUT}.stats.png" --size 64x48 --budget 20000
               --threads 2 --cache-limit 64 --stats)
    string(REGEX MATCH "[^\n]*\n$" line "${err}")
    string(JSON open ERROR_VARIABLE bad GET "${line}" open_ms)
    string(JSON first ERROR_VARIABLE bad GET "${line}" first_picture_ms)
    string(JSON loaded ERROR_VARIABLE bad GET "${line}" loaded_ms)
    string(JSON nodes ERROR_VARIABLE bad GET "${line}" nodes)
    string(JSON points ERROR_VARIABLE bad GET "${line}" points)
    string(JSON requests ERROR_VARIABLE bad GET "${line}" requests)
    string(JSON bytes ERROR_VARIABLE bad GET "${line}" bytes_read)
    string(JSON threads ERROR_VARIABLE bad GET "${line}" threads)
    if(NOT status EQUAL 0 OR bad OR NOT threads EQUAL 2 OR nodes LESS 1 OR points LESS 1 OR points GREATER 20000
       OR requests LESS nodes OR bytes LESS 10000 OR open GREATER first OR first GREATER loaded)
        message(FATAL_ERROR "lumaro render --stats printed (${status}):\n${err}")
    endif()
    # Two stores of one site form one scene.
    run_lumaro(status out err render "${STORE}" "${SECOND_STORE}" --output "${OUTPUT}.two.png" --size 64x48)
    if(NOT status EQUAL 0 OR NOT EXISTS "${OUTPUT}.two.png")
        message(FATAL_ERROR "lumaro render of two stores failed (${status}):\n${err}")
    endif()
    # Classes, eye-dome lighting (a bare --edl and one with values) and high-quality splats.
    foreach(edl "--edl" "--edl;0.5,2")
        run_lumaro(status out err render "${STORE}" --output "${OUTPUT}.looks.png" --size 64x48 --mode rgb,classification
                   --classes 1,2 --class-colors 2=ff0000,1=0000ff --splats hq ${edl})
        if(NOT status EQUAL 0 OR NOT EXISTS "${OUTPUT}.looks.png")
            message(FATAL_ERROR "lumaro render with classes, lighting and splats (${edl}) failed (${status}):\n${err}")
        endif()
    endforeach()
    # The drawn pixels as points, and a pick with a plane in the stores' own coordinates.
    run_lumaro(status out err render "${STORE}" --output "${OUTPUT}.points.png" --size 64x48 --points "${OUTPUT}.txt")
    file(STRINGS "${OUTPUT}.txt" lines LIMIT_COUNT 2)
    list(GET lines 0 header)
    list(GET lines 1 first)
    if(NOT status EQUAL 0 OR NOT header STREQUAL "X Y Z Red Green Blue Alpha" OR NOT first MATCHES "^63[0-9][0-9][0-9][0-9]\\.[0-9]+ 84[89][0-9][0-9][0-9]\\.")
        message(FATAL_ERROR "lumaro render --points wrote '${header}', '${first}' (${status}):\n${err}")
    endif()
    run_lumaro(status out err pick "${STORE}" --size 64x48 --at 20,24 --tolerance 3 --plane 0.5)
    string(JSON x ERROR_VARIABLE noPoint GET "${out}" point 0)
    string(JSON normalZ ERROR_VARIABLE noPlane GET "${out}" plane normal 2)
    if(NOT status EQUAL 0 OR noPoint OR noPlane OR x LESS 636000 OR normalZ LESS 0.5)
        message(FATAL_ERROR "lumaro pick printed (${status}):\n${out}\n${err}")
    endif()
    run_lumaro(status out err thumbnail "${STORE}" --output "${OUTPUT}.thumbnail.png" --size 32x16)
    if(NOT status EQUAL 0 OR NOT EXISTS "${OUTPUT}.thumbnail.png")
        message(FATAL_ERROR "lumaro thumbnail failed (${status}):\n${err}")
    endif()

    # A terrain mesh drawn with its cloud, and the cloud coloured by its distance to it.
    run_lumaro(status out err render "${MESH_STORE}" --output "${OUTPUT}.mesh.png" --size 64x48 --mesh "${MESH}"
               --mode rgb,mesh-distance --distance-mesh "${MESH}" --range -20,20 --pass-fail -5,5 --warn -2,2 --unsigned)
    if(NOT status EQUAL 0 OR NOT EXISTS "${OUTPUT}.mesh.png")
        message(FATAL_ERROR "lumaro render with meshes failed (${status}):\n${err}")
    endif()
    # The mesh lies where the cloud does: a pick in the middle finds a point of the site.
    run_lumaro(status out err pick "${MESH_STORE}" --size 64x48 --at 32,24 --mesh "${MESH}")
    string(JSON x ERROR_VARIABLE noPoint GET "${out}" point 0)
    string(JSON z ERROR_VARIABLE noPoint GET "${out}" point 2)
    if(NOT status EQUAL 0 OR noPoint OR x LESS 635619 OR x GREATER 638983 OR z LESS 406 OR z GREATER 587)
        message(FATAL_ERROR "lumaro pick with a mesh printed (${status}):\n${out}\n${err}")
    endif()

    # The COPC file holds the points of MESH_STORE in the same cube: with every node loaded and
    # one-pixel points, a pick finds the same point in both, to the step of one unit in the last
    # stored digit that the Potree converter's rounding may add.
    set(picks "")
    foreach(store "${MESH_STORE}" "${COPC}")
        run_lumaro(status out err pick "${store}" --size 96x64 --min-node-size 0 --max-point-size 1 --at 40,30 --tolerance 4)
        string(JSON point ERROR_VARIABLE noPoint GET "${out}" point)
        if(NOT status EQUAL 0 OR noPoint OR point STREQUAL "null")
            message(FATAL_ERROR "lumaro pick on ${store} printed (${status}):\n${out}\n${err}")
        endif()
        list(APPEND picks "${point}")
    endforeach()
    list(GET picks 0 potreePoint)
    list(GET picks 1 copcPoint)
    foreach(axis 0 1 2)
        string(JSON a GET "${potreePoint}" ${axis})
        string(JSON b GET "${copcPoint}" ${axis})
        millimetres("${a}" a)
        millimetres("${b}" b)
        math(EXPR difference "${a} - ${b}")
        if(difference LESS -11 OR difference GREATER 11)
            message(FATAL_ERROR "a pick finds ${copcPoint} in the COPC file but ${potreePoint} in the Potree store")
        endif()
    endforeach()
    # A COPC file's thumbnail goes beside it by default.
    get_filename_component(outputFolder "${OUTPUT}" DIRECTORY)
    file(COPY "${COPC}" DESTINATION "${outputFolder}/copc")
    get_filename_component(copcName "${COPC}" NAME)
    run_lumaro(status out err thumbnail "${outputFolder}/copc/${copcName}" --size 32x16)
    string(REGEX REPLACE "\\.laz$" ".png" copcThumbnail "${outputFolder}/copc/${copcName}")
    if(NOT status EQUAL 0 OR NOT EXISTS "${copcThumbnail}")
        message(FATAL_ERROR "lumaro thumbnail of a COPC file wrote no ${copcThumbnail} (${status}):\n${err}")
    endif()

    # Clip volumes: with a box or a prism that shows its inside, every drawn pixel lies in it (to
    # a pixel, 9.2 m here, since read-back covers whole discs); with the box hiding its inside,
    # none lies within it by more than a pixel. The box: x 636300 to 636700, y 849350 to 849650.
    foreach(clip "box-inside;--clip-box;636500,849500,500,400,300,2000;--clip-effect;inside"
                 "box-outside;--clip-box;636500,849500,500,400,300,2000;--clip-effect;outside"
                 "prism-inside;--clip-polygon;636300,849350,636700,849350,636300,849650;--clip-heights;0,2000")
        list(POP_FRONT clip name)
        run_lumaro(status out err render "${STORE}" --output "${OUTPUT}.${name}.png" --size 128x128 --min-node-size 0
                   --max-point-size 1 ${clip} --points "${OUTPUT}.${name}.txt")
        if(NOT status EQUAL 0)
            message(FATAL_ERROR "lumaro render ${clip} failed (${status}):\n${err}")
        endif()
        file(STRINGS "${OUTPUT}.${name}.txt" lines)
        list(POP_FRONT lines)
        list(LENGTH lines drawn)
        set(inBox 0)
        set(deepInBox 0)
        foreach(line IN LISTS lines)
            string(REPLACE " " ";" fields "${line}")
            list(GET fields 0 x)
            list(GET fields 1 y)
            millimetres("${x}" x)
            millimetres("${y}" y)
            if(x GREATER_EQUAL 636290800 AND x LESS_EQUAL 636709200 AND y GREATER_EQUAL 849340800 AND y LESS_EQUAL 849659200)
                math(EXPR inBox "${inBox} + 1")
            endif()
            if(x GREATER 636309200 AND x LESS 636690800 AND y GREATER 849359200 AND y LESS 849640800)
                math(EXPR deepInBox "${deepInBox} + 1")
            endif()
        endforeach()
        if(drawn LESS 100 OR (name MATCHES "inside" AND NOT inBox EQUAL drawn) OR (name MATCHES "outside" AND deepInBox GREATER 0))
            message(FATAL_ERROR "lumaro render ${clip}: ${drawn} pixels drawn, ${inBox} in the box, ${deepInBox} deep inside")
        endif()
    endforeach()

    # A panorama around the first store, seen from its centre and from above.
    run_lumaro(status out err render "${STORE}" --output "${OUTPUT}.pano.png" --size 64x48 --pano "${PANO}"
               --view pano,top)
    if(NOT status EQUAL 0 OR NOT EXISTS "${OUTPUT}.pano.png")
        message(FATAL_ERROR "lumaro render with a panorama failed (${status}):\n${err}")
    endif()

    file(READ "${OUTPUT}" header LIMIT 24 HEX)
    string(SUBSTRING "${header}" 32 16 size)
    if(NOT size STREQUAL "000000c000000060")
        message(FATAL_ERROR "lumaro render wrote an image of another size (IHDR ${size})")
    endif()
endif()
message(STATUS "lumaro render refuses bad input and, with Direct3D, renders the grid")
