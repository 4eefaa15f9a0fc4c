# What `cmake --install` puts where. The Debian packages (debian/) take it from there.

include(CMakePackageConfigHelpers)

install(
  TARGETS queltx64
  EXPORT tessoltTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT runtime
          NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)
# Elsewhere nobody would read it.
if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
  install(FILES packaging/settings DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/tessolt COMPONENT runtime)
endif()
install(DIRECTORY include/tessolt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/tessolt)
install(EXPORT tessoltTargets NAMESPACE tessolt:: DESTINATION ${config_folder} COMPONENT dev)
configure_package_config_file(cmake/tessoltConfig.cmake.in ${PROJECT_BINARY_DIR}/tessoltConfig.cmake
                              INSTALL_DESTINATION ${config_folder})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tessoltConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/tessoltConfig.cmake ${PROJECT_BINARY_DIR}/tessoltConfigVersion.cmake
        DESTINATION ${config_folder} COMPONENT dev)

# The prefix is told from where the file lies, so that the whole tree may be moved.
file(RELATIVE_PATH PC_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" PC_PREFIX "${PC_PREFIX}")
# A program that links the static library links what that needs.
if(NOT TESSOLT_SHARED)
  set(PC_REQUIRES "libssl libcrypto libidn2 libhwy")
  set(PC_LIBS "-lbz2 -lstdc++ -lm -pthread")
endif()
configure_file(cmake/tessolt.pc.in ${PROJECT_BINARY_DIR}/tessolt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessolt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT dev)

if(NOT TESSOLT_SHARED)
  return()
endif()

# Where the interpreter of this machine looks: Debian's own folder for /usr; below another prefix one of those that it
# names, or else that of its version.
if(NOT Python3_FOUND)
  return()
endif()
if(CMAKE_INSTALL_PREFIX STREQUAL /usr)
  set(python_default lib/python3/dist-packages)
else()
  execute_process(
    COMMAND ${Python3_EXECUTABLE} -c
            "import os, site, sys
prefix = sys.argv[1].rstrip('/') + '/'
below = [path[len(prefix):] for path in site.getsitepackages() if path.startswith(prefix)]
print((below + ['lib/python%d.%d/site-packages' % sys.version_info[:2]])[0])"
            ${CMAKE_INSTALL_PREFIX}
    OUTPUT_VARIABLE python_default OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
set(TESSOLT_PYTHON_DIR ${python_default} CACHE STRING "Where the Python package goes, under the prefix")
install(DIRECTORY ${python_folder} DESTINATION ${TESSOLT_PYTHON_DIR} COMPONENT python
        FILES_MATCHING PATTERN "*.py" PATTERN "py.typed" PATTERN __pycache__ EXCLUDE)
install(DIRECTORY ${python_dist_info} DESTINATION ${TESSOLT_PYTHON_DIR} COMPONENT python)
