# The flags that everything in this project is built with. Whether a warning ends the build is for the preset to say: it
# does for those who work on the code, and not for those who only build it, with a compiler that we may not know.
add_compile_options(
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef -Wcast-qual -Wvla
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    -fstack-protector-strong)
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Where several sources are compiled as one, each is an included file to GCC, and what stands in an anonymous namespace
    # there is not shared for that.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-subobject-linkage>)
endif()
# C only, where it takes next to no time; docs/architecture.md says how it fares with C++.
if(CMAKE_C_COMPILER_ID STREQUAL "GNU")
    add_compile_options($<$<COMPILE_LANGUAGE:C>:-fanalyzer>)
endif()
# GLib reports misuse at run time; what it deprecates is refused here.
add_compile_definitions(GLIB_VERSION_MIN_REQUIRED=GLIB_VERSION_2_74 GLIB_VERSION_MAX_ALLOWED=GLIB_VERSION_2_74)

if(VYREL_SANITIZE)
    add_compile_options(-fsanitize=${VYREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VYREL_SANITIZE})
endif()
if(VYREL_COVERAGE)
    add_link_options(--coverage)
endif()

# For what each line said to the television goes through, and all that it tells: with sanitizers and without any
# optimization the tests spend more on this code than compiling it so costs.
function(vyrel_run_often target)
    if(VYREL_SANITIZE)
        target_compile_options(${target} PRIVATE -O1)
    endif()
endfunction()

# Counts what is run of the folder that calls this. Only what the report is about is counted: tests and the television
# on the desk would take several times as long.
macro(vyrel_measure_coverage)
    if(VYREL_COVERAGE)
        add_compile_options(--coverage -fprofile-update=atomic)
    endif()
endmacro()

# Shows libFuzzer which ways an input takes through the folder that calls this, and those below it. What stands around
# the tested code, such as the simulated television, would only lead it astray.
macro(vyrel_follow_input)
    if(VYREL_FUZZ)
        add_compile_options(-fsanitize=fuzzer-no-link)
    endif()
endmacro()
