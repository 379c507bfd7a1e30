include_guard(GLOBAL)

# The service's own entry point for programs that bring a main of their own: the very object of src/main.cpp, in which
# the function is called service_main. Tests and demonstrations can so run the whole service in a process of theirs.
add_library(vyrel_main OBJECT "${CMAKE_SOURCE_DIR}/src/main.cpp")
target_link_libraries(vyrel_main PRIVATE vyrel_service)
if(VYREL_COVERAGE)
    target_compile_options(vyrel_main PRIVATE --coverage -fprofile-update=atomic)
endif()

set(service_main_object "${CMAKE_BINARY_DIR}/service_main.o")
add_custom_command(
    OUTPUT "${service_main_object}"
    COMMAND "${CMAKE_OBJCOPY}" --redefine-sym main=service_main "$<TARGET_OBJECTS:vyrel_main>" "${service_main_object}"
    DEPENDS vyrel_main "$<TARGET_OBJECTS:vyrel_main>"
    VERBATIM)
add_custom_target(service_main_built DEPENDS "${service_main_object}")

add_library(service_main INTERFACE)
target_link_libraries(service_main INTERFACE "${service_main_object}" vyrel_service)
add_dependencies(service_main service_main_built)
