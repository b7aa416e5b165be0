# What cpack makes of the three components: Debian packages libmatsushita-tcpip-net, libmatsushita-tcpip-net-dev and
# matsushita-tcpip-net-tools. scripts/make-packages configures for it and calls cpack.
#
#  - The version is the project's, and packaging/changelog has to begin with it.
#  - Dependencies on libraries come from dpkg-shlibdeps. Where the libraries lie in a sysroot, no package database
#    knows them: packaging/shlibs.cross says then which packages they belong to.

if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    message(FATAL_ERROR "Packages are for /usr, not for '${CMAKE_INSTALL_PREFIX}': use scripts/make-packages")
endif()
set(FP_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(FP_SOURCE_PACKAGE matsushita-tcpip-net)
set(FP_DEBIAN_ARCHITECTURE "" CACHE STRING "Architecture of the packages, e.g. armhf; empty for this machine's")

file(STRINGS ${FP_PACKAGING}/changelog head LIMIT_COUNT 1)
string(FIND "${head}" "${FP_SOURCE_PACKAGE} (${PROJECT_VERSION}) " at)
if(NOT at EQUAL 0)
    message(FATAL_ERROR "packaging/changelog begins with '${head}', but the project's version is ${PROJECT_VERSION}")
endif()

# Which packages, and what each says of itself ---------------------------------------------------------------------------

set(FP_NAME_runtime libmatsushita-tcpip-net)
set(FP_NAME_development libmatsushita-tcpip-net-dev)
set(FP_NAME_tools matsushita-tcpip-net-tools)
set(FP_SECTION_runtime libs)
set(FP_SECTION_development libdevel)
set(FP_SECTION_tools utils)
set(FP_QT_PACKAGE_5 "qtbase5-dev (>= 5.15)")
set(FP_QT_PACKAGE_6 "qt6-base-dev (>= 6.4)")
set(FP_DEPENDS_development ${FP_QT_PACKAGE_${QT_MAJOR}})

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # the first line of each description says it
set(FP_ABOUT
"The driver exchanges data between an operator panel's runtime and FP-series
programmable controllers over Ethernet. It builds the requests, checks the
replies and keeps a local copy of the controllers' memory; the connection and
the timing belong to the runtime that loads it.

This package holds")
set(FP_DESCRIPTION_runtime
"PLC communication driver for operator panels
${FP_ABOUT} the library that the runtime loads.")
set(FP_DESCRIPTION_development
"PLC communication driver for operator panels - development files
${FP_ABOUT} the headers, the files for CMake and pkg-config,
the guide for those who write a host, and an example.")
set(FP_DESCRIPTION_tools
"PLC communication driver for operator panels - command-line tool
${FP_ABOUT} fplink, which reads, writes and watches a
controller's memory and simulates controllers.")

set(components runtime development)
if(TARGET fplink)
    list(APPEND components tools)
endif()

# What every package has to hold -----------------------------------------------------------------------------------------

set(CMAKE_INSTALL_DOCDIR share/doc/${FP_NAME_development})

# fp_compress(FILE NAME OUT): sets OUT to a compressed copy of FILE called NAME, the same whenever it is made.
function(fp_compress file name out)
    execute_process(COMMAND gzip -9nc ${file} OUTPUT_FILE ${PROJECT_BINARY_DIR}/${name} COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
    set(${out} ${PROJECT_BINARY_DIR}/${name} PARENT_SCOPE)
endfunction()

fp_compress(${FP_PACKAGING}/changelog changelog.gz changelog)
fp_compress(${FP_PACKAGING}/fplink.1 fplink.1.gz FP_MANUAL_PAGE)
foreach(component IN LISTS components)
    install(FILES ${FP_PACKAGING}/copyright ${changelog} DESTINATION share/doc/${FP_NAME_${component}}
        COMPONENT ${component})
endforeach()
install(FILES ${FP_PACKAGING}/lintian-overrides-runtime DESTINATION share/lintian/overrides
    RENAME ${FP_NAME_runtime} COMPONENT runtime)

# cpack ------------------------------------------------------------------------------------------------------------------

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${FP_SOURCE_PACKAGE})
set(CPACK_PACKAGE_VENDOR "The driver's authors")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE ${FP_SOURCE_PACKAGE})
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The driver's maintainers <maintainers@driver.invalid>")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF) # FpShlibdeps.cmake does it
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${FP_PACKAGING}/triggers ${FP_PACKAGING}/symbols)
if(FP_DEBIAN_ARCHITECTURE)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${FP_DEBIAN_ARCHITECTURE})
endif()
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/FpShlibdeps.cmake)
if(CMAKE_SYSROOT)
    set(CPACK_FP_SHLIBDEPS_ARGUMENTS
        -L${FP_PACKAGING}/shlibs.cross
        -l${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}
        -l${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
foreach(component IN LISTS components)
    string(TOUPPER ${component} upper)
    set(CPACK_COMPONENT_${upper}_DESCRIPTION ${FP_DESCRIPTION_${component}})
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${FP_NAME_${component}})
    set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${FP_SECTION_${component}})
    set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ${FP_DEPENDS_${component}})
endforeach()
include(CPack)
