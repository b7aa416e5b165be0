# Run by cpack when the components are staged and stripped: asks dpkg-shlibdeps which packages the programs and libraries
# of each component need, and adds them to the component's dependencies.
#
# cpack could do so itself, but would then add maintainer scripts that call ldconfig, which is a trigger's work.

set(work ${CPACK_TOPLEVEL_DIRECTORY}/shlibdeps)
file(MAKE_DIRECTORY ${work}/debian)
file(WRITE ${work}/debian/control "Source: ${CPACK_PACKAGE_NAME}\n")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    file(GLOB binaries
        ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/bin/*
        ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/lib/*/*.so)
    if(NOT binaries)
        continue()
    endif()
    set(control ${CPACK_TEMPORARY_DIRECTORY}/${component}/DEBIAN) # marks the top of what will be a package
    file(MAKE_DIRECTORY ${control})
    execute_process(COMMAND dpkg-shlibdeps -O ${CPACK_FP_SHLIBDEPS_ARGUMENTS} ${binaries}
        WORKING_DIRECTORY ${work} OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    file(REMOVE_RECURSE ${control})
    if(NOT found MATCHES "^shlibs:Depends=(.+)$")
        message(FATAL_ERROR "dpkg-shlibdeps finds no package behind the libraries of ${component}: '${found}'")
    endif()
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ${CMAKE_MATCH_1})
endforeach()
