# How test programs are built, and under which names ctest runs them.

option(KELPO_TEST_CASES "Run each case of a test program as a test of its own; OFF runs many cases at each start" ON)

# GoogleTest's headers take longer to compile than most tests do. They are compiled once, with what most tests include
# anyway, and once more with Qt for the tests of the driver. Only programs that are built with the same options can
# share a compiled header, so all of them are built with -fPIC. Each file still includes what it uses: script/lint
# compiles it without these headers.
function(kelpo_test_header name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "HEADERS;LIBRARIES")
    file(GENERATE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp CONTENT "// Only its header is used.\n")
    add_library(${name} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    target_compile_features(${name} PRIVATE cxx_std_17)
    target_link_libraries(${name} PRIVATE GTest::gmock ${arg_LIBRARIES})
    target_precompile_headers(${name} PRIVATE <gmock/gmock.h>
        <chrono> <functional> <map> <memory> <optional> <sstream> <string> <thread> <vector> ${arg_HEADERS})
endfunction()

# Lets the test program `target` use a compiled header of kelpo_test_header.
function(kelpo_use_test_header target header)
    target_precompile_headers(${target} REUSE_FROM ${header})
    # Without it, a compiler cache cannot see what such a header contains.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
endfunction()

# Adds the cases of the test program `target`, each as "<PREFIX><suite>.<case>". It can take longer to start a program
# than to run a case, so with KELPO_TEST_CASES off a program with WHOLE is one test, "<PREFIX><target>": for cases that
# wait for nothing. One with PARTS is that number of tests, which wait beside each other. With NAMED, cases with a
# parameter have the names that the program gives them, otherwise their value. FILTER chooses among the cases; PROPERTIES
# are those of each test.
function(kelpo_add_tests target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "WHOLE;NAMED" "PREFIX;FILTER;PARTS" "PROPERTIES")
    set(properties TIMEOUT 300 ${arg_PROPERTIES})
    if(arg_WHOLE AND NOT KELPO_TEST_CASES)
        add_test(NAME ${arg_PREFIX}${target} COMMAND ${target})
        set_tests_properties(${arg_PREFIX}${target} PROPERTIES ${properties})
    elseif(arg_PARTS AND NOT KELPO_TEST_CASES)
        if(NOT arg_FILTER)
            set(arg_FILTER *)
        endif()
        foreach(part RANGE 1 ${arg_PARTS})
            math(EXPR index "${part} - 1")
            set(name ${arg_PREFIX}part.${part})
            add_test(NAME ${name} COMMAND ${target})
            set_tests_properties(${name} PROPERTIES ${properties})
            set_property(TEST ${name} APPEND PROPERTY
                ENVIRONMENT GTEST_TOTAL_SHARDS=${arg_PARTS} GTEST_SHARD_INDEX=${index} "GTEST_FILTER=${arg_FILTER}")
        endforeach()
    else()
        set(values)
        if(arg_NAMED)
            set(values NO_PRETTY_VALUES)
        endif()
        gtest_discover_tests(${target} TEST_PREFIX "${arg_PREFIX}" TEST_FILTER "${arg_FILTER}" ${values}
            DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${properties})
    endif()
endfunction()

# Each test method of the Python file `file`_test.py, whose classes are those of `base`, is a test of its own, named
# "<PREFIX><file>.<method>", and found here by its name. KELPO_PYTHON runs them. PROPERTIES are those of each test.
function(kelpo_add_python_tests file base)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "PREFIX" "PROPERTIES")
    set(path ${CMAKE_CURRENT_SOURCE_DIR}/${file}_test.py)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
    file(STRINGS ${path} lines REGEX "^(class [A-Za-z]+[(]${base}[)]:|    def test_[a-z0-9_]+)")
    foreach(line IN LISTS lines)
        if(line MATCHES "^class ([A-Za-z]+)")
            set(class ${CMAKE_MATCH_1})
        elseif(line MATCHES "test_([a-z0-9_]+)")
            set(sentence ${CMAKE_MATCH_1})
            set(name ${arg_PREFIX}${file}.${sentence})
            add_test(NAME ${name} COMMAND ${KELPO_PYTHON} -B ${path} ${class}.test_${sentence})
            set_tests_properties(${name} PROPERTIES TIMEOUT 300 COST 20 ${arg_PROPERTIES})
        endif()
    endforeach()
endfunction()
