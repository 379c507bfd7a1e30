# For the builds that compile several sources of a library as one: the joined sources bear the library's name, so that a
# variable that is of one file alone can still be told by that file's name to be this library's. To be called where the
# library is made, when it has all its sources.
function(vyrel_name_joined_sources library)
    if(NOT CMAKE_UNITY_BUILD)
        return()
    endif()
    set_target_properties(${library} PROPERTIES UNITY_BUILD_MODE GROUP)
    get_target_property(sources ${library} SOURCES)
    set(number 0)
    foreach(source IN LISTS sources)
        math(EXPR batch "${number} / ${CMAKE_UNITY_BUILD_BATCH_SIZE}")
        set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${library}_${batch}")
        math(EXPR number "${number} + 1")
    endforeach()
endfunction()
