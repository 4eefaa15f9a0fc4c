# The library that programs link: everything behind the C functions of the public headers, and nothing else visible.
# It is a shared one, or with BUILD_SHARED_LIBS=OFF a static one.

if(TESSOLT_SHARED)
  # The entry points are called by nobody inside, so the objects that hold them go in whole.
  add_library(queltx64 SHARED $<TARGET_OBJECTS:tessolt_automation> $<TARGET_OBJECTS:tessolt_platform>)
  target_link_libraries(queltx64 PRIVATE tessolt_automation)
else()
  get_property(rooms GLOBAL PROPERTY TESSOLT_ROOMS)
  list(TRANSFORM rooms REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
  add_library(queltx64 STATIC ${objects})
  target_include_directories(queltx64 PRIVATE ${PROJECT_SOURCE_DIR}/include)
  # tessoltConfig.cmake finds these again.
  target_link_libraries(queltx64 PUBLIC Threads::Threads OpenSSL::SSL OpenSSL::Crypto PkgConfig::IDN2 BZip2::BZip2
                                        hwy::hwy)
endif()
add_library(tessolt::tessolt ALIAS queltx64)
target_include_directories(queltx64 INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(queltx64 INTERFACE cxx_std_17)

if(TESSOLT_SHARED)
  set(version_script ${PROJECT_SOURCE_DIR}/src/automation/queltx64.map)
  # A host may have functions of the same names as ours; calls within the library stay in it.
  # Libraries that only the build has a use for aren't loaded.
  target_link_options(queltx64 PRIVATE -Wl,--version-script=${version_script} -Wl,-Bsymbolic-functions
                                       -Wl,--as-needed)
  if(NOT TESSOLT_SANITIZE)
    target_link_options(queltx64 PRIVATE -Wl,--no-undefined)
  endif()
  set_target_properties(queltx64 PROPERTIES LINK_DEPENDS ${version_script})
endif()
set_target_properties(queltx64 PROPERTIES LINKER_LANGUAGE CXX VERSION ${PROJECT_VERSION}
                                          SOVERSION ${PROJECT_VERSION_MAJOR}
                                          EXPORT_NAME tessolt
                                          LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}
                                          ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR})
tessolt_target_options(queltx64)
