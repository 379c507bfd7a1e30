include_guard(GLOBAL)

# Links a program with the one implementation of the platform that it stands on. All of the implementation is taken,
# because the libraries that need it come after it.
function(vyrel_link_platform target platform)
    target_link_libraries(${target} PRIVATE "$<LINK_LIBRARY:WHOLE_ARCHIVE,${platform}>")
endfunction()
