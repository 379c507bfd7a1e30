include_guard(GLOBAL)
find_program(GDBUS_CODEGEN gdbus-codegen REQUIRED)

# What has to be there before a source can be looked at by itself.
add_custom_target(dbus_code)

# A library of proxies and skeletons for the interfaces of these XML files: vyrel_add_dbus_code(NAME PREFIX NAMESPACE
# XML...) makes NAME with the header NAME.h. PREFIX is taken off the interfaces' names, NAMESPACE put before the types'.
function(vyrel_add_dbus_code name prefix namespace)
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/${name}")
    file(MAKE_DIRECTORY "${folder}")
    set(files)
    foreach(xml IN LISTS ARGN)
        cmake_path(ABSOLUTE_PATH xml)
        list(APPEND files "${xml}")
    endforeach()
    set(options --interface-prefix "${prefix}" --c-namespace "${namespace}" --glib-min-required 2.64)
    foreach(part header body)
        string(REGEX REPLACE "^(.).*" "\\1" suffix "${part}")
        string(REPLACE "b" "c" suffix "${suffix}")
        add_custom_command(
            OUTPUT "${folder}/${name}.${suffix}"
            COMMAND "${GDBUS_CODEGEN}" ${options} --${part} --output "${folder}/${name}.${suffix}" ${files}
            DEPENDS ${files}
            VERBATIM)
    endforeach()
    add_library(${name} STATIC "${folder}/${name}.c" "${folder}/${name}.h")
    add_dependencies(dbus_code ${name})
    # Nobody here wrote it, so nobody here is warned of it.
    target_compile_options(${name} PRIVATE -w $<$<C_COMPILER_ID:GNU>:-fno-analyzer>)
    target_include_directories(${name} SYSTEM PUBLIC "${folder}")
    target_link_libraries(${name} PUBLIC PkgConfig::GIO)
endfunction()
