# The flags that everything in this project is built with. Whether a warning ends the build is for the preset to say: it
# does for those who work on the code, and not for those who only build it, with a compiler that we may not know.
add_compile_options(
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef -Wcast-qual -Wvla
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    -fstack-protector-strong)
# GLib reports misuse at run time; what it deprecates is refused here.
add_compile_definitions(GLIB_VERSION_MIN_REQUIRED=GLIB_VERSION_2_74 GLIB_VERSION_MAX_ALLOWED=GLIB_VERSION_2_74)

if(VYREL_SANITIZE)
    add_compile_options(-fsanitize=${VYREL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VYREL_SANITIZE})
endif()
if(VYREL_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
