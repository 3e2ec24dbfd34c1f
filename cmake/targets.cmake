# Kinds of targets that several folders make.

# focusfall_add_plugin(NAME FILE SOURCES source... LINKS library...)
# A library that the host loads: FILE without the "lib" of other libraries, in the folder of
# plug-ins, where it finds the host's library one folder up.
function(focusfall_add_plugin name file)
    cmake_parse_arguments(PARSE_ARGV 2 plugin "" "" "SOURCES;LINKS")
    add_library(${name} MODULE ${plugin_SOURCES})
    target_link_libraries(${name} PRIVATE ${plugin_LINKS} focusfall_options)
    set_target_properties(${name} PROPERTIES
        OUTPUT_NAME ${file} PREFIX "" INSTALL_RPATH "$ORIGIN/.."
        LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/${FOCUSFALL_PLUGIN_DIR})
    install(TARGETS ${name} DESTINATION ${FOCUSFALL_PLUGIN_DIR})
endfunction()

# focusfall_add_tests(NAME LABEL label SOURCES source... LINKS library...
#     [FILES macro=target...] [PREFIX prefix] [SLOW test...])
# A program of GoogleTest tests, known to ctest one by one under LABEL, their names behind
# PREFIX. Each macro of FILES is the path of that target's file, which is built before the
# tests. The tests of SLOW, by GoogleTest's patterns, have the label slow instead.
function(focusfall_add_tests name)
    cmake_parse_arguments(PARSE_ARGV 1 tests "" "LABEL;PREFIX" "SOURCES;LINKS;FILES;SLOW")
    add_executable(${name} ${tests_SOURCES})
    target_link_libraries(${name} PRIVATE
        ${tests_LINKS} focusfall_options GTest::gtest_main)
    foreach(entry IN LISTS tests_FILES)
        string(REGEX MATCH "^(.+)=(.+)$" entry ${entry})
        target_compile_definitions(${name} PRIVATE
            ${CMAKE_MATCH_1}="$<TARGET_FILE:${CMAKE_MATCH_2}>")
        add_dependencies(${name} ${CMAKE_MATCH_2})
    endforeach()
    set(slow "")
    if(tests_SLOW)
        list(JOIN tests_SLOW ":" slow)
        gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
            TEST_FILTER "${slow}" TEST_PREFIX "${tests_PREFIX}"
            PROPERTIES LABELS slow)
        set(slow "-${slow}")
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST
        TEST_FILTER "${slow}" TEST_PREFIX "${tests_PREFIX}"
        PROPERTIES LABELS ${tests_LABEL})
endfunction()

# focusfall_add_inner(NAME OF target... LINKS library...)
# A library of the sources of those targets, compiled as LINKS ask: for a binary that holds
# what they otherwise find in the host's library.
function(focusfall_add_inner name)
    cmake_parse_arguments(PARSE_ARGV 1 inner "" "" "OF;LINKS")
    add_library(${name} STATIC EXCLUDE_FROM_ALL)
    foreach(target IN LISTS inner_OF)
        get_target_property(folder ${target} SOURCE_DIR)
        get_target_property(sources ${target} SOURCES)
        list(TRANSFORM sources PREPEND ${folder}/)
        target_sources(${name} PRIVATE ${sources})
    endforeach()
    target_link_libraries(${name} PUBLIC ${inner_LINKS} PRIVATE focusfall_options)
    # static analysis reads these sources as their own targets compile them
    set_target_properties(${name} PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
endfunction()
