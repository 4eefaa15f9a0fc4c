# What `cmake --install` puts where, and the packages that CPack makes of it: runtime, dev and Python.

include(CMakePackageConfigHelpers)

install(
  TARGETS queltx64
  EXPORT tessoltTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT runtime
          NAMELINK_COMPONENT dev)
install(DIRECTORY ${CMAKE_SOURCE_DIR}/include/tessolt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
        COMPONENT dev)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/tessolt)
install(EXPORT tessoltTargets NAMESPACE tessolt:: DESTINATION ${config_folder} COMPONENT dev)
configure_package_config_file(cmake/tessoltConfig.cmake.in ${CMAKE_BINARY_DIR}/tessoltConfig.cmake
                              INSTALL_DESTINATION ${config_folder})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/tessoltConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/tessoltConfig.cmake ${CMAKE_BINARY_DIR}/tessoltConfigVersion.cmake
        DESTINATION ${config_folder} COMPONENT dev)

# The prefix is told from where the file lies, so that the whole tree may be moved.
file(RELATIVE_PATH PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" PC_PREFIX "${PC_PREFIX}")
configure_file(cmake/tessolt.pc.in ${CMAKE_BINARY_DIR}/tessolt.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/tessolt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT dev)

set(TESSOLT_PYTHON_DIR lib/python3/dist-packages
    CACHE STRING "Where the Python package goes, under the prefix")
install(DIRECTORY ${CMAKE_SOURCE_DIR}/bindings/python/tessolt DESTINATION ${TESSOLT_PYTHON_DIR}
        COMPONENT python FILES_MATCHING PATTERN "*.py")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tessolt)
set(CPACK_PACKAGE_VENDOR Tessolt)
set(CPACK_PACKAGE_CONTACT "Tessolt <tessolt@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev python)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${PROJECT_DESCRIPTION}: the shared library")
set(CPACK_COMPONENT_DEV_DESCRIPTION "${PROJECT_DESCRIPTION}: headers and files to build with")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "${PROJECT_DESCRIPTION}: the Python package")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libqueltx64-${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libqueltx64-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(same_version "${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${same_version}")
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-tessolt)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), ${same_version}")
include(CPack)
