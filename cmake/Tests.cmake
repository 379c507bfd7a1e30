include(GoogleTest)
include(Platform)
find_package(GTest REQUIRED)

# One test program for one subject. Every test case runs in a process of its own, because some of the service's
# counters live as long as the process, on purpose. Those of a COST begin before the others, the highest first: a long one
# that begins last would keep one processor busy while the others have nothing left to do.
function(vyrel_add_tests name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "COST" "SOURCES;LIBRARIES")
    add_executable(${name} ${arg_SOURCES})
    foreach(library IN LISTS arg_LIBRARIES)
        if(library MATCHES "^platform_(sim|skeleton)$")
            vyrel_link_platform(${name} ${library})
        else()
            target_link_libraries(${name} PRIVATE ${library})
        endif()
    endforeach()
    target_link_libraries(${name} PRIVATE tests_support)
    target_precompile_headers(${name} REUSE_FROM tests_support)
    set(cost "")
    if(arg_COST)
        set(cost COST "${arg_COST}")
    endif()
    # A parameter's value would be printed behind the name of its case, as far as 300 characters to the right.
    gtest_discover_tests(${name}
        TEST_PREFIX "${name}."
        NO_PRETTY_VALUES
        PROPERTIES TIMEOUT 120 ${cost} ENVIRONMENT "G_DEBUG=fatal-criticals")
endfunction()
