# The Python package, put together in the build tree so that it can be imported from there: PYTHONPATH=<build>/python.
# Without an interpreter it is left out.

find_package(Python3 3.9 COMPONENTS Interpreter)
if(NOT Python3_FOUND)
  message(STATUS "The Python package is left out: there is no interpreter")
  return()
endif()

set(python_folder ${PROJECT_BINARY_DIR}/python/tessolt)
set(python_bindings ${PROJECT_SOURCE_DIR}/bindings/python)

# What the public headers say isn't written twice.
set(python_staged ${python_folder}/_tables.py ${python_folder}/_constants.py)
file(GLOB public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/tessolt/*.h)
add_custom_command(
  OUTPUT ${python_staged}
  COMMAND ${Python3_EXECUTABLE} -B ${python_bindings}/make_tables.py ${PROJECT_SOURCE_DIR}/include ${python_folder}
  DEPENDS ${python_bindings}/make_tables.py ${public_headers})

file(GLOB python_sources CONFIGURE_DEPENDS ${python_bindings}/tessolt/*.py ${python_bindings}/tessolt/py.typed)
foreach(source ${python_sources})
  get_filename_component(name ${source} NAME)
  add_custom_command(
    OUTPUT ${python_folder}/${name}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${python_folder}
    COMMAND ${CMAKE_COMMAND} -E copy ${source} ${python_folder}/${name}
    DEPENDS ${source})
  list(APPEND python_staged ${python_folder}/${name})
endforeach()
add_custom_target(
  tessolt_python ALL
  COMMAND ${CMAKE_COMMAND} -E create_symlink ../../$<TARGET_FILE_NAME:queltx64>
          ${python_folder}/libqueltx64.so
  DEPENDS ${python_staged} queltx64)

# What an installed package shows of itself.
set(python_dist_info ${PROJECT_BINARY_DIR}/tessolt-${PROJECT_VERSION}.dist-info)
configure_file(${python_bindings}/METADATA.in ${python_dist_info}/METADATA @ONLY)
file(WRITE ${python_dist_info}/INSTALLER "cmake\n")
