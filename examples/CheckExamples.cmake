# Installs the Windows build as a package and builds and runs the examples against it, as a
# developer of a host application would (run by the tests of the Windows build):
#   cmake -DBUILD=<build folder> -DWORK=<scratch folder> -DTOOLCHAIN=<MinGW toolchain file>
#         -DEMULATOR=<wine wrapper> -DC_COMPILER=<MinGW gcc> -DSTORE=<store> -P CheckExamples.cmake
cmake_minimum_required(VERSION 3.24)

function(run what)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE errors)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${what} failed (${status}):\n${output}\n${errors}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

set(examples "${CMAKE_CURRENT_LIST_DIR}")
set(package "${WORK}/package")
file(REMOVE_RECURSE "${WORK}")
run("cmake --install" "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${package}")
foreach(file bin/LumaroRender.dll bin/lumaro.exe lib/libLumaroRender.dll.a lib/LumaroRender.lib lib/LumaroRender.def
             lib/libLumaroOctree.a lib/libcurl.a lib/cmake/LumaroRender/LumaroRenderConfig.cmake
             lib/cmake/LumaroRender/LumaroRenderConfigVersion.cmake include/lumaro/lumaro_c.h
             include/lumaro/render/core/Renderer.h include/lumaro/octree/Location.h include/Eigen/Core
             share/doc/LumaroRender/eigen-copyright)
    if(NOT EXISTS "${package}/${file}")
        message(FATAL_ERROR "the package lacks ${file}")
    endif()
endforeach()

# The C++ host, with CMake: find_package(LumaroRender). A cross toolchain that keeps packages to
# its own root is told where the package is.
run("configuring cpp-host" "${CMAKE_COMMAND}" -S "${examples}/cpp-host" -B "${WORK}/cpp-host" -G Ninja
    -DCMAKE_BUILD_TYPE=Release "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}"
    "-DLumaroRender_DIR=${package}/lib/cmake/LumaroRender")
run("building cpp-host" "${CMAKE_COMMAND}" --build "${WORK}/cpp-host")
run("cpp-host" ${EMULATOR} "${WORK}/cpp-host/cpp-host.exe" "${STORE}" "${WORK}/cpp-host.png")
if(NOT output MATCHES "drew [1-9][0-9]* of [0-9]+ points" OR NOT EXISTS "${WORK}/cpp-host.png")
    message(FATAL_ERROR "cpp-host drew nothing: ${output}")
endif()

# The C host: one C file, strict C99, linked once with MinGW's import library and once with the
# one for other linkers.
file(MAKE_DIRECTORY "${WORK}/c-host")
file(COPY "${package}/bin/LumaroRender.dll" DESTINATION "${WORK}/c-host")
foreach(import libLumaroRender.dll.a LumaroRender.lib)
    set(program "${WORK}/c-host/c-host-${import}.exe")
    run("compiling c-host against ${import}" "${C_COMPILER}" -std=c99 -pedantic -Wall -Wextra -Werror
        "-I${package}/include" "${examples}/c-host/main.c" "${package}/lib/${import}" -o "${program}")
    run("c-host (${import})" ${EMULATOR} "${program}" "${STORE}" "${WORK}/c-host.png" "${WORK}/c-thumbnail.png")
    if(NOT output MATCHES "drawn pixels: [1-9]" OR NOT output MATCHES "picked: [-0-9.]+ [-0-9.]+ [-0-9.]+")
        message(FATAL_ERROR "c-host (${import}) drew or picked nothing: ${output}")
    endif()
    foreach(png c-host.png c-thumbnail.png)
        if(NOT EXISTS "${WORK}/${png}")
            message(FATAL_ERROR "c-host (${import}) did not write ${png}")
        endif()
        file(REMOVE "${WORK}/${png}")
    endforeach()
endforeach()
