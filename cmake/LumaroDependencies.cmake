# Third-party dependencies, each behind an interface target Lumaro::<name>, found three ways:
#  - native Linux: the build root's Debian packages;
#  - MinGW cross build: Debian's header-only packages through a folder of links (adding
#    /usr/include itself would put Linux's C headers before MinGW's), and static libraries built
#    from source into /opt/mingw-deps (scripts/mingw-deps.sh);
#  - MSVC: vcpkg packages (vcpkg.json) through their CMake configurations.
include_guard(GLOBAL)

set(LUMARO_CROSS_FROM_LINUX OFF)
if(CMAKE_CROSSCOMPILING AND CMAKE_HOST_SYSTEM_NAME STREQUAL "Linux")
    set(LUMARO_CROSS_FROM_LINUX ON)
endif()

set(LUMARO_MINGW_DEPS_PREFIX "/opt/mingw-deps" CACHE PATH "Prefix of the MinGW builds of brotli and friends")
set(_lumaro_host_headers "${CMAKE_BINARY_DIR}/host-headers")

# Makes the given paths under the host's /usr/include visible in the cross build.
function(_lumaro_link_host_headers)
    foreach(relative IN LISTS ARGN)
        if(NOT EXISTS "/usr/include/${relative}")
            message(FATAL_ERROR "Missing /usr/include/${relative}: is the build root complete?")
        endif()
        get_filename_component(parent "${_lumaro_host_headers}/${relative}" DIRECTORY)
        file(MAKE_DIRECTORY "${parent}")
        file(CREATE_LINK "/usr/include/${relative}" "${_lumaro_host_headers}/${relative}" SYMBOLIC)
    endforeach()
endfunction()

function(_lumaro_interface name)
    if(NOT TARGET Lumaro::${name})
        add_library(lumaro_dep_${name} INTERFACE)
        add_library(Lumaro::${name} ALIAS lumaro_dep_${name})
    endif()
endfunction()

foreach(dep eigen json stb tinyobj cli11 brotli zstd laszip)
    _lumaro_interface(${dep})
endforeach()

if(LUMARO_CROSS_FROM_LINUX)
    _lumaro_link_host_headers(eigen3 nlohmann stb tiny_obj_loader.h CLI)
    target_include_directories(lumaro_dep_eigen SYSTEM INTERFACE "${_lumaro_host_headers}/eigen3")
    target_include_directories(lumaro_dep_json SYSTEM INTERFACE "${_lumaro_host_headers}")
    target_include_directories(lumaro_dep_stb SYSTEM INTERFACE "${_lumaro_host_headers}/stb")
    target_include_directories(lumaro_dep_tinyobj SYSTEM INTERFACE "${_lumaro_host_headers}")
    target_include_directories(lumaro_dep_cli11 SYSTEM INTERFACE "${_lumaro_host_headers}")

    set(_deps "${LUMARO_MINGW_DEPS_PREFIX}")
    foreach(lib brotlidec-static brotlicommon-static zstd laszip3)
        if(NOT EXISTS "${_deps}/lib/lib${lib}.a")
            message(FATAL_ERROR "Missing ${_deps}/lib/lib${lib}.a: run ./dev so that it builds the MinGW libraries")
        endif()
    endforeach()
    target_include_directories(lumaro_dep_brotli SYSTEM INTERFACE "${_deps}/include")
    target_link_libraries(lumaro_dep_brotli INTERFACE
        "${_deps}/lib/libbrotlidec-static.a" "${_deps}/lib/libbrotlicommon-static.a")
    target_include_directories(lumaro_dep_zstd SYSTEM INTERFACE "${_deps}/include")
    target_link_libraries(lumaro_dep_zstd INTERFACE "${_deps}/lib/libzstd.a")
    target_include_directories(lumaro_dep_laszip SYSTEM INTERFACE "${_deps}/include")
    target_link_libraries(lumaro_dep_laszip INTERFACE "${_deps}/lib/liblaszip3.a")
else()
    find_package(Eigen3 3.3 REQUIRED NO_MODULE)
    target_link_libraries(lumaro_dep_eigen INTERFACE Eigen3::Eigen)
    find_package(nlohmann_json 3 REQUIRED)
    target_link_libraries(lumaro_dep_json INTERFACE nlohmann_json::nlohmann_json)
    find_path(LUMARO_STB_IMAGE_DIR stb_image_write.h PATH_SUFFIXES stb REQUIRED)
    target_include_directories(lumaro_dep_stb SYSTEM INTERFACE "${LUMARO_STB_IMAGE_DIR}")
    find_path(LUMARO_TINYOBJ_DIR tiny_obj_loader.h REQUIRED)
    target_include_directories(lumaro_dep_tinyobj SYSTEM INTERFACE "${LUMARO_TINYOBJ_DIR}")
    find_package(CLI11 CONFIG REQUIRED)
    target_link_libraries(lumaro_dep_cli11 INTERFACE CLI11::CLI11)

    if(MSVC)
        find_package(unofficial-brotli CONFIG REQUIRED)
        target_link_libraries(lumaro_dep_brotli INTERFACE unofficial::brotli::brotlidec)
        find_package(zstd CONFIG REQUIRED)
        target_link_libraries(lumaro_dep_zstd INTERFACE $<IF:$<TARGET_EXISTS:zstd::libzstd_static>,zstd::libzstd_static,zstd::libzstd_shared>)
    else()
        find_package(PkgConfig REQUIRED)
        pkg_check_modules(LUMARO_BROTLI REQUIRED IMPORTED_TARGET libbrotlidec)
        target_link_libraries(lumaro_dep_brotli INTERFACE PkgConfig::LUMARO_BROTLI)
        pkg_check_modules(LUMARO_ZSTD REQUIRED IMPORTED_TARGET libzstd)
        target_link_libraries(lumaro_dep_zstd INTERFACE PkgConfig::LUMARO_ZSTD)
    endif()
    # LASzip installs no CMake or pkg-config files (Debian's liblaszip-dev, vcpkg's laszip port).
    # Its C API lives in the main library (laszip, laszip3 on Windows); laszip_api is only a
    # loader for that library and is not used.
    find_path(LUMARO_LASZIP_INCLUDE_DIR laszip/laszip_api.h REQUIRED)
    find_library(LUMARO_LASZIP_LIBRARY NAMES laszip3 laszip REQUIRED)
    target_include_directories(lumaro_dep_laszip SYSTEM INTERFACE "${LUMARO_LASZIP_INCLUDE_DIR}")
    target_link_libraries(lumaro_dep_laszip INTERFACE "${LUMARO_LASZIP_LIBRARY}")
endif()

# GoogleTest: Debian ships its sources, which build for either target.
if(LUMARO_BUILD_TESTS)
    if(LUMARO_CROSS_FROM_LINUX)
        set(gtest_force_shared_crt ON CACHE BOOL "" FORCE)
        set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
        add_subdirectory(/usr/src/googletest "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
        # Recent GoogleTest defines the GTest:: aliases itself.
        foreach(gtest_target gtest gtest_main gmock)
            if(NOT TARGET GTest::${gtest_target})
                add_library(GTest::${gtest_target} ALIAS ${gtest_target})
            endif()
        endforeach()
    else()
        find_package(GTest REQUIRED)
    endif()
    include(GoogleTest)
endif()
