# What `cmake --install` puts where, in three components: runtime (the library), development (headers, package files,
# the example and the host's guide), tools (fplink).
#
#  - The installed tree can be moved: no file in it names a directory outside it.
#  - The library has one name, libMatsushita_TCPIP_net.so, and that is its SONAME too. Hosts load it by this very name,
#    from panels' file systems that know no links, so there is no versioned file behind it; a host that is linked with
#    it asks for the same name, and both meet the same file. What a version number would have to tell apart, the Qt
#    that the library was built with, the installed package files tell.

option(FP_DEBIAN_PACKAGES "Prepare for cpack: Debian packages" OFF)
if(FP_DEBIAN_PACKAGES)
    include(FpPackages) # names another place for the documents, and compresses
else()
    set(FP_MANUAL_PAGE ${PROJECT_SOURCE_DIR}/packaging/fplink.1)
endif()
include(CMakePackageConfigHelpers)

set(FP_PACKAGE matsushita_tcpip_net)
set(FP_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/${FP_PACKAGE})

# The Qt package that a host needs too, as find_dependency and pkg-config want it.
set(FP_QT_DEPENDENCY_4 "Qt4 4.8 COMPONENTS QtCore")
set(FP_QT_DEPENDENCY_5 "Qt5 5.15 COMPONENTS Core")
set(FP_QT_DEPENDENCY_6 "Qt6 6.4 COMPONENTS Core")
set(FP_QT_PKGCONFIG_4 "QtCore >= 4.8")
set(FP_QT_PKGCONFIG_5 "Qt5Core >= 5.15")
set(FP_QT_PKGCONFIG_6 "Qt6Core >= 6.4")
set(FP_QT_TARGET_4 Qt4::QtCore)
set(FP_QT_TARGET_5 Qt5::Core)
set(FP_QT_TARGET_6 Qt6::Core)
set(FP_QT_DEPENDENCY ${FP_QT_DEPENDENCY_${QT_MAJOR}})
set(FP_QT_PKGCONFIG ${FP_QT_PKGCONFIG_${QT_MAJOR}})
set(FP_QT_TARGET ${FP_QT_TARGET_${QT_MAJOR}})

# The library ------------------------------------------------------------------------------------------------------

set_target_properties(Matsushita_TCPIP_net PROPERTIES EXPORT_NAME driver)
target_include_directories(Matsushita_TCPIP_net INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(Matsushita_TCPIP_net INTERFACE $<INSTALL_INTERFACE:${FP_QT_TARGET}>)
target_compile_features(Matsushita_TCPIP_net INTERFACE cxx_std_${FP_DRIVER_STANDARD})

# For a host that loads the library itself: what `driver` gives, without linking the library.
add_library(fp_installed_headers INTERFACE)
set_target_properties(fp_installed_headers PROPERTIES EXPORT_NAME headers)
target_include_directories(fp_installed_headers INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(fp_installed_headers INTERFACE $<INSTALL_INTERFACE:${FP_QT_TARGET}>)
target_compile_features(fp_installed_headers INTERFACE cxx_std_${FP_DRIVER_STANDARD})

install(TARGETS Matsushita_TCPIP_net fp_installed_headers EXPORT ${FP_PACKAGE}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/driver/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    COMPONENT development FILES_MATCHING PATTERN *.h)

# find_package(matsushita_tcpip_net) -----------------------------------------------------------------------------------

install(EXPORT ${FP_PACKAGE} NAMESPACE ${FP_PACKAGE}:: FILE ${FP_PACKAGE}-targets.cmake
    DESTINATION ${FP_CMAKE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/${FP_PACKAGE}-config.cmake.in
    ${PROJECT_BINARY_DIR}/${FP_PACKAGE}-config.cmake
    INSTALL_DESTINATION ${FP_CMAKE_DIR}
    NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${FP_PACKAGE}-config-version.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/${FP_PACKAGE}-config.cmake
    ${PROJECT_BINARY_DIR}/${FP_PACKAGE}-config-version.cmake
    DESTINATION ${FP_CMAKE_DIR} COMPONENT development)

# pkg-config matsushita_tcpip_net --------------------------------------------------------------------------------------

file(RELATIVE_PATH FP_PREFIX_FROM_PKGCONFIG
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" FP_PREFIX_FROM_PKGCONFIG "${FP_PREFIX_FROM_PKGCONFIG}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/${FP_PACKAGE}.pc.in ${PROJECT_BINARY_DIR}/${FP_PACKAGE}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${FP_PACKAGE}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

# Documents and tools --------------------------------------------------------------------------------------------------

install(FILES ${PROJECT_SOURCE_DIR}/docs/host-guide.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(FILES
    ${PROJECT_SOURCE_DIR}/examples/CMakeLists.txt
    ${PROJECT_SOURCE_DIR}/examples/Makefile
    ${PROJECT_SOURCE_DIR}/examples/example_host.cpp
    DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples COMPONENT development)
if(TARGET fplink)
    install(TARGETS fplink RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    install(FILES ${FP_MANUAL_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endif()
