include_guard(GLOBAL)
include(ServiceMain)

# The service as it is, but that all it asks of the world is led to another place: what it calls of the platform, the
# loop, the bus and files has "seam_" before its name. platform/recorder stands there, so that it sees all that the
# service does and nothing that others do.
set(recorded_folder "${CMAKE_BINARY_DIR}/recorded")
set(seam_symbols "${CMAKE_BINARY_DIR}/platform/recorder/made/recorder/seam.syms")
file(MAKE_DIRECTORY "${recorded_folder}")

set(recorded_files)
foreach(library vyrel_service vyrel_kpi vyrel_utility)
    set(recorded_file "${recorded_folder}/lib${library}.a")
    add_custom_command(
        OUTPUT "${recorded_file}"
        COMMAND "${CMAKE_OBJCOPY}" "--redefine-syms=${seam_symbols}" "$<TARGET_FILE:${library}>" "${recorded_file}"
        DEPENDS ${library} "$<TARGET_FILE:${library}>" "${seam_symbols}" recorder_made
        VERBATIM)
    list(APPEND recorded_files "${recorded_file}")
endforeach()
set(recorded_main "${recorded_folder}/service_main.o")
add_custom_command(
    OUTPUT "${recorded_main}"
    COMMAND "${CMAKE_OBJCOPY}" "--redefine-syms=${seam_symbols}" "${service_main_object}" "${recorded_main}"
    DEPENDS "${service_main_object}" "${seam_symbols}" recorder_made service_main_built
    VERBATIM)
add_custom_target(recorded_service_built DEPENDS ${recorded_files} "${recorded_main}")

# The whole service, its entry point as service_main(). The program brings what stands at the seam: platform_recorder over
# a platform and a sink, or platform_replay.
add_library(recorded_service INTERFACE)
target_include_directories(recorded_service INTERFACE
    "$<TARGET_PROPERTY:vyrel_service,INTERFACE_INCLUDE_DIRECTORIES>"
    "$<TARGET_PROPERTY:vyrel_utility,INTERFACE_INCLUDE_DIRECTORIES>")
target_link_libraries(recorded_service INTERFACE
    "${recorded_main}" ${recorded_files} platform_headers PkgConfig::GIO)
add_dependencies(recorded_service recorded_service_built)
# For who looks at them.
set_target_properties(recorded_service PROPERTIES
    RECORDED_FILES "${recorded_files};${recorded_main}" SEAM_SYMBOLS "${seam_symbols}")
