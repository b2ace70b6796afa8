# libFuzzer targets: one function registers each of them, its smoke test and its place in the list
# that `./dev fuzz` reads.
include_guard(GLOBAL)

# lumaro_add_fuzzer(NAME <target> SOURCES <file>... [LIBRARIES <target>...] [INCLUDES <dir>...]
#                   [SEEDS <file or folder>...])
#
# A libFuzzer program (needs Clang and LUMARO_BUILD_FUZZERS; elsewhere the call does nothing).
#   SOURCES    the file with LLVMFuzzerTestOneInput, and the parsers it drives as whole source files:
#              compiled into the fuzzer, they carry its coverage instrumentation, and the linker
#              then takes nothing of theirs from the libraries.
#   LIBRARIES  everything else it links (Lumaro::Core, Lumaro::json, ...).
#   INCLUDES   private include folders (a library's src/ for its internal headers).
#   SEEDS      inputs to start from: files, and folders whose files (recursively) all count. They
#              are only read, never written to.
#
# Every test run keeps a smoke test, <target>_smoke: a few seconds from a fixed random seed over the
# seeds, failing on any crash, leak, hang or sanitizer report. `./dev fuzz` finds the program and its
# seeds in <build>/fuzzers.txt, one "name<TAB>program<TAB>seed list" line per fuzzer.
#
#   lumaro_add_fuzzer(NAME lumaro_example_fuzzer
#                     SOURCES ExampleFuzz.cpp ${library_src}/ExampleParser.cpp
#                     LIBRARIES Lumaro::Core INCLUDES ${library_src}
#                     SEEDS ${LUMARO_TEST_DATA_DIR}/example fuzz/seeds/example)
set(LUMARO_FUZZ_SMOKE_SECONDS 5 CACHE STRING "Seconds of each fuzzer's smoke test")

function(lumaro_add_fuzzer)
    cmake_parse_arguments(arg "" "NAME" "SOURCES;LIBRARIES;INCLUDES;SEEDS" ${ARGN})
    if(NOT LUMARO_BUILD_FUZZERS OR NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        return()
    endif()
    if(NOT arg_NAME OR NOT arg_SOURCES)
        message(FATAL_ERROR "lumaro_add_fuzzer needs NAME and SOURCES")
    endif()
    add_executable(${arg_NAME} ${arg_SOURCES})
    target_include_directories(${arg_NAME} PRIVATE ${arg_INCLUDES})
    target_link_libraries(${arg_NAME} PRIVATE ${arg_LIBRARIES} lumaro_build_settings)
    target_compile_options(${arg_NAME} PRIVATE -fsanitize=fuzzer)
    target_link_options(${arg_NAME} PRIVATE -fsanitize=fuzzer)

    # The seeds as libFuzzer's -seed_inputs=@FILE wants them: one comma-separated line.
    set(seeds "")
    foreach(seed IN LISTS arg_SEEDS)
        get_filename_component(seed "${seed}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
        if(IS_DIRECTORY "${seed}")
            file(GLOB_RECURSE found LIST_DIRECTORIES false CONFIGURE_DEPENDS "${seed}/*")
            list(SORT found)
            list(APPEND seeds ${found})
        elseif(EXISTS "${seed}")
            list(APPEND seeds "${seed}")
        else()
            message(FATAL_ERROR "${arg_NAME}: no seed ${seed}")
        endif()
    endforeach()
    if(NOT seeds)
        message(FATAL_ERROR "${arg_NAME}: a fuzzer needs seeds")
    endif()
    set(seed_list "${CMAKE_BINARY_DIR}/fuzz/${arg_NAME}.seeds")
    list(JOIN seeds "," seed_line)
    file(WRITE "${seed_list}" "${seed_line}")
    set_property(GLOBAL APPEND PROPERTY LUMARO_FUZZERS "${arg_NAME}\t$<TARGET_FILE:${arg_NAME}>\t${seed_list}")

    if(LUMARO_BUILD_TESTS)
        # No corpus folder: a fresh build explores the same inputs every time. Reproducers land in
        # the build's fuzz folder.
        set(artifacts "${CMAKE_BINARY_DIR}/fuzz/smoke-artifacts")
        file(MAKE_DIRECTORY "${artifacts}")
        add_test(NAME ${arg_NAME}_smoke
                 COMMAND ${arg_NAME} -seed=1 -max_total_time=${LUMARO_FUZZ_SMOKE_SECONDS} -rss_limit_mb=2048
                         -timeout=10 -print_final_stats=0 "-artifact_prefix=${artifacts}/${arg_NAME}-"
                         "-seed_inputs=@${seed_list}")
        set_tests_properties(${arg_NAME}_smoke PROPERTIES LABELS fuzz)
    endif()
endfunction()

# The list of every fuzzer, written once all of them are known.
function(_lumaro_write_fuzzer_list)
    get_property(fuzzers GLOBAL PROPERTY LUMARO_FUZZERS)
    list(JOIN fuzzers "\n" lines)
    file(GENERATE OUTPUT "${CMAKE_BINARY_DIR}/fuzzers.txt" CONTENT "${lines}\n")
endfunction()
if(LUMARO_BUILD_FUZZERS AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    cmake_language(DEFER DIRECTORY "${CMAKE_SOURCE_DIR}" CALL _lumaro_write_fuzzer_list)
endif()

# lumaro_pack_store_seed(<output> <folder>)
# A store of several files as one fuzzer input (see octree/fuzz/MemoryStore.h): every file of the
# folder but the reference facts, each led by a line "@@file:NAME" with its path in the store.
function(lumaro_pack_store_seed output folder)
    file(GLOB_RECURSE files LIST_DIRECTORIES false RELATIVE "${folder}" CONFIGURE_DEPENDS "${folder}/*")
    list(FILTER files EXCLUDE REGEX "facts\\.json$")
    list(SORT files)
    set(parts "")
    foreach(name IN LISTS files)
        string(MAKE_C_IDENTIFIER "${output}-${name}" marker)
        set(marker "${CMAKE_BINARY_DIR}/fuzz/markers/${marker}")
        file(WRITE "${marker}" "@@file:${name}\n")
        list(APPEND parts "${marker}" "${folder}/${name}")
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${folder}/${name}")
    endforeach()
    get_filename_component(directory "${output}" DIRECTORY)
    file(MAKE_DIRECTORY "${directory}")
    execute_process(COMMAND "${CMAKE_COMMAND}" -E cat ${parts} OUTPUT_FILE "${output}" RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "cannot pack the store ${folder} into ${output}")
    endif()
endfunction()
