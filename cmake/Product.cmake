# What is shipped: how everything in a release build is compiled and linked, the floors that it is measured against too,
# and how a program is put together.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")
    set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -ffunction-sections -fdata-sections)
    add_link_options(-Wl,--gc-sections -Wl,-z,relro -Wl,-z,now -Wl,--as-needed)
    # Loading and relocating the shared C++ library takes a third of the instructions of a start; the little that is
    # used of it costs nothing in the program itself.
    add_link_options($<$<LINK_LANGUAGE:CXX>:-static-libstdc++> -static-libgcc)
endif()

# A program is the service, its entry point and exactly one implementation of the platform, in as many libraries as it
# takes: vyrel_add_product(NAME LIBRARY...).
function(vyrel_add_product name)
    add_executable(${name} "${vyrel-lite_SOURCE_DIR}/src/main.cpp")
    # The platform stands last because all the others call it, and none of them says which one.
    target_link_libraries(${name} PRIVATE vyrel_service vyrel_kpi vyrel_utility ${ARGN})
endfunction()
