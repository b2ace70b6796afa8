# What `cmake --install` puts into the package a Windows application builds against (./dev sdk):
#   bin/      LumaroRender.dll (and the lumaro tools)
#   include/  the public headers of the seven libraries, lumaro/lumaro_c.h, and the third-party
#             headers they include (Eigen, nlohmann-json)
#   lib/      the DLL's import libraries (libLumaroRender.dll.a for MinGW, LumaroRender.lib for
#             other linkers), the six support libraries and the static libraries they use
#   lib/cmake/LumaroRender/  the package configuration: find_package(LumaroRender)
#   share/doc/LumaroRender/  the licences of what the package carries
# Only the Windows build makes a package: the library is a Windows DLL.
include_guard(GLOBAL)
if(NOT WIN32)
    return()
endif()
include(CMakePackageConfigHelpers)

set(_package_dir "lib/cmake/LumaroRender")
set(_support_libraries LumaroMeasure LumaroIndexer LumaroOctree LumaroGraphics LumaroMath LumaroCore)

install(TARGETS LumaroRender RUNTIME DESTINATION bin LIBRARY DESTINATION lib ARCHIVE DESTINATION lib)
install(TARGETS ${_support_libraries} ARCHIVE DESTINATION lib)
foreach(library core math graphics octree indexer measure render)
    install(DIRECTORY "${PROJECT_SOURCE_DIR}/${library}/include/" DESTINATION include)
endforeach()

# The DLL's exports and the import library for other linkers (made in render/CMakeLists.txt).
if(MINGW)
    install(FILES "${CMAKE_BINARY_DIR}/lib/LumaroRender.def" "${CMAKE_BINARY_DIR}/lib/LumaroRender.lib" DESTINATION lib)
endif()
foreach(tool lumaro lumaro-view)
    if(TARGET ${tool})
        install(TARGETS ${tool} RUNTIME DESTINATION bin)
    endif()
endforeach()

# Third-party headers that the public headers include, and the static libraries that the support
# libraries need, with their licences.
if(LUMARO_CROSS_FROM_LINUX)
    install(DIRECTORY /usr/include/eigen3/Eigen DESTINATION include)
    install(DIRECTORY /usr/include/nlohmann DESTINATION include)
    install(FILES /usr/share/doc/libeigen3-dev/copyright DESTINATION share/doc/LumaroRender RENAME eigen-copyright)
    install(FILES /usr/share/doc/nlohmann-json3-dev/copyright DESTINATION share/doc/LumaroRender
            RENAME nlohmann-json-copyright)
    set(_third_party brotlidec-static brotlicommon-static zstd laszip3 deflate curl)
    foreach(library IN LISTS _third_party)
        install(FILES "${LUMARO_MINGW_DEPS_PREFIX}/lib/lib${library}.a" DESTINATION lib)
    endforeach()
endif()

set(LUMARO_PACKAGE_SUPPORT_LIBRARIES ${_support_libraries})
set(LUMARO_PACKAGE_THIRD_PARTY_LIBRARIES ${_third_party})
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/LumaroRenderConfig.cmake.in"
    "${CMAKE_BINARY_DIR}/package/LumaroRenderConfig.cmake" INSTALL_DESTINATION "${_package_dir}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/package/LumaroRenderConfigVersion.cmake"
    VERSION "${PROJECT_VERSION}" COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(FILES "${CMAKE_BINARY_DIR}/package/LumaroRenderConfig.cmake"
              "${CMAKE_BINARY_DIR}/package/LumaroRenderConfigVersion.cmake"
        DESTINATION "${_package_dir}")

# The examples, built and run against the installed package.
if(LUMARO_BUILD_TESTS AND LUMARO_CROSS_FROM_LINUX)
    add_test(NAME lumaro_sdk_examples
             COMMAND "${CMAKE_COMMAND}" "-DBUILD=${CMAKE_BINARY_DIR}" "-DWORK=${CMAKE_BINARY_DIR}/sdk-examples"
                     "-DTOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}" "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
                     "-DC_COMPILER=${CMAKE_C_COMPILER}" "-DSTORE=${LUMARO_TEST_DATA_DIR}/potree2/autzen_trim-brotli"
                     -P "${PROJECT_SOURCE_DIR}/examples/CheckExamples.cmake")
    set_tests_properties(lumaro_sdk_examples PROPERTIES LABELS lumaro_sdk_examples TIMEOUT 600)
endif()
