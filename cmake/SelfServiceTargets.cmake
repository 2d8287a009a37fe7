# One interface target carries the warnings and definitions that every target of ours is built with.
add_library(ss_build_options INTERFACE)
target_compile_options(ss_build_options INTERFACE
    -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror
    -fno-omit-frame-pointer)
target_compile_definitions(ss_build_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_NO_KEYWORDS
    QT_NO_CAST_FROM_BYTEARRAY QT_DISABLE_DEPRECATED_BEFORE=0x060400)
target_include_directories(ss_build_options INTERFACE "${CMAKE_SOURCE_DIR}")
if(SS_SANITIZE)
    target_compile_options(ss_build_options INTERFACE -fsanitize=${SS_SANITIZE} -fno-sanitize-recover=all)
    target_link_options(ss_build_options INTERFACE -fsanitize=${SS_SANITIZE})
else()
    target_compile_definitions(ss_build_options INTERFACE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
    target_link_options(ss_build_options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)
endif()
if(SS_BUILD_FUZZERS)
    # A fuzzer is blind to code that does not count its branches.
    target_compile_options(ss_build_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Reading Qt's headers is most of a build, and describing what is in them most of what remains. A test
# reads them once with all others, and tells no more than the lines of its functions; where nothing is
# to be shown about a file's own includes, so does every file.
if(SS_PRECOMPILE_HEADERS)
    add_library(ss_precompiled OBJECT "${CMAKE_SOURCE_DIR}/cmake/Precompiled.cpp")
    set_target_properties(ss_precompiled PROPERTIES AUTOMOC OFF)
    target_compile_options(ss_precompiled PRIVATE -g1)
    target_link_libraries(ss_precompiled PRIVATE ss_build_options Qt6::Core)
    target_precompile_headers(ss_precompiled PRIVATE <QtCore/QtCore>)
endif()

function(ss_precompile target)
    if(SS_PRECOMPILE_HEADERS)
        target_compile_options(${target} PRIVATE -g1)
        target_precompile_headers(${target} REUSE_FROM ss_precompiled)
    endif()
endfunction()

# ss_library(NAME sources… LINKS targets…): a static library of one folder.
function(ss_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;PRIVATE_LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_link_libraries(${name} PUBLIC ss_build_options ${ARG_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
    if(SS_PRECOMPILE_HEADERS STREQUAL "all")
        ss_precompile(${name})
    endif()
endfunction()

# ss_unit_test(NAME source… LINKS targets…): one Qt Test program, registered with CTest under its name.
function(ss_unit_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 300)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ss_build_options Qt6::Test ${ARG_LINKS})
    ss_precompile(${name})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS unit
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/tsan.supp")
endfunction()

# ss_fuzzer(NAME source LINKS targets…): one libFuzzer program with its corpus in corpus/NAME beside it.
function(ss_fuzzer name source)
    cmake_parse_arguments(ARG "" "" "LINKS" ${ARGN})
    add_executable(${name} ${source})
    target_link_libraries(${name} PRIVATE ss_build_options ${ARG_LINKS})
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    add_dependencies(ss_fuzzers ${name})
endfunction()

add_custom_target(ss_fuzzers)
