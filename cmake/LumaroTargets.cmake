# Helpers that give every library, test and tool of the project the same build settings.
include_guard(GLOBAL)

set(LUMARO_TEST_DATA_DIR "${PROJECT_SOURCE_DIR}/testdata")

# Compile options shared by every target of ours (not by third-party code).
add_library(lumaro_build_settings INTERFACE)
if(MSVC)
    target_compile_options(lumaro_build_settings INTERFACE /W4 /permissive- /utf-8 /bigobj)
    target_compile_definitions(lumaro_build_settings INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN _USE_MATH_DEFINES)
else()
    target_compile_options(lumaro_build_settings INTERFACE -Wall -Wextra -Wno-unused-parameter)
    if(WIN32)
        target_compile_definitions(lumaro_build_settings INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN _USE_MATH_DEFINES)
        target_compile_options(lumaro_build_settings INTERFACE -Wa,-mbig-obj)
    endif()
endif()
if(LUMARO_SANITIZE)
    list(JOIN LUMARO_SANITIZE "," _lumaro_sanitizers)
    target_compile_options(lumaro_build_settings INTERFACE
        -fsanitize=${_lumaro_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(lumaro_build_settings INTERFACE -fsanitize=${_lumaro_sanitizers})
endif()

# lumaro_library(NAME <target> ALIAS <Lumaro::X> [SOURCES ...] [DEPENDS ...] [PRIVATE_DEPENDS ...])
# A static support library: public headers in include/, sources in src/ (all of them unless
# SOURCES is given).
function(lumaro_library)
    cmake_parse_arguments(arg "" "NAME;ALIAS" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
    if(NOT arg_SOURCES)
        file(GLOB_RECURSE arg_SOURCES CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/src/*.cpp")
    endif()
    add_library(${arg_NAME} STATIC ${arg_SOURCES})
    add_library(${arg_ALIAS} ALIAS ${arg_NAME})
    target_include_directories(${arg_NAME}
        PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}/include"
        PRIVATE "${CMAKE_CURRENT_SOURCE_DIR}/src")
    target_link_libraries(${arg_NAME} PUBLIC ${arg_DEPENDS} PRIVATE ${arg_PRIVATE_DEPENDS} lumaro_build_settings)
endfunction()

# lumaro_test(NAME <target> SOURCES ... DEPENDS ... [ENVIRONMENT VAR=value] [FIXTURES NAME])
# A GoogleTest program; its tests are listed when ctest runs (under Wine for the Windows build,
# where listing them at build time would start Wine inside the build). ENVIRONMENT is set for
# every test of the program; FIXTURES names a CTest fixture that every test of it needs.
function(lumaro_test)
    cmake_parse_arguments(arg "" "NAME;FIXTURES" "SOURCES;DEPENDS;ENVIRONMENT" ${ARGN})
    if(NOT LUMARO_BUILD_TESTS OR NOT arg_SOURCES)
        return()
    endif()
    add_executable(${arg_NAME} ${arg_SOURCES})
    target_link_libraries(${arg_NAME} PRIVATE ${arg_DEPENDS} Lumaro::TestSupport GTest::gtest GTest::gmock GTest::gtest_main lumaro_build_settings)
    target_compile_definitions(${arg_NAME} PRIVATE LUMARO_TEST_DATA_DIR="${LUMARO_TEST_DATA_DIR}")
    # Each test carries its program's name as a label: `ctest -L lumaro_core_tests` runs one program.
    set(properties LABELS ${arg_NAME})
    if(arg_ENVIRONMENT)
        list(APPEND properties ENVIRONMENT "${arg_ENVIRONMENT}")
    endif()
    if(arg_FIXTURES)
        list(APPEND properties FIXTURES_REQUIRED "${arg_FIXTURES}")
    endif()
    gtest_discover_tests(${arg_NAME} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
        WORKING_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" PROPERTIES ${properties})
endfunction()

# lumaro_stb_reading_options(<source>)
# stb_image copies zero bytes from a null buffer (memcpy(NULL, p, 0)) for a PNG whose first image
# data chunk is empty, which UndefinedBehaviorSanitizer reports as a null argument. Every C library
# copies nothing there, and C2y defines it; the one check is left out for the file that compiles
# stb's decoders, in the directory that compiles it.
function(lumaro_stb_reading_options source)
    if(LUMARO_SANITIZE MATCHES "undefined")
        set_source_files_properties("${source}" PROPERTIES COMPILE_OPTIONS "-fno-sanitize=nonnull-attribute")
    endif()
endfunction()
