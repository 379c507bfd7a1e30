find_package(Python3 REQUIRED COMPONENTS Interpreter)

# Each method "testSomething" of a class in a script of unittest is a test "PREFIX.Something" of its own,
# which may take TIMEOUT seconds, a minute when none is given.
# ONCE is for what runs nothing that was compiled here: it reads sources, documents or symbols, and would say the same of
# each build. It is left out of those with sanitizers, since a change is always tried in one without them, too.
function(vyrel_add_python_tests prefix script class)
    cmake_parse_arguments(PARSE_ARGV 3 arg "ONCE" "TIMEOUT" "ENVIRONMENT")
    if(arg_ONCE AND VYREL_SANITIZE)
        return()
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 60)
    endif()
    set(script "${CMAKE_CURRENT_SOURCE_DIR}/${script}")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${script}")
    file(STRINGS "${script}" methods REGEX "^    def test[A-Z]")
    foreach(method IN LISTS methods)
        string(REGEX REPLACE "^    def test([A-Za-z0-9]+).*" "\\1" name "${method}")
        add_test(NAME "${prefix}.${name}" COMMAND Python3::Interpreter -B "${script}" "${class}.test${name}")
        set_tests_properties("${prefix}.${name}" PROPERTIES TIMEOUT "${arg_TIMEOUT}" ENVIRONMENT "${arg_ENVIRONMENT}")
    endforeach()
endfunction()
