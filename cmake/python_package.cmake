# The Python package, put together in the build tree so that it can be imported from there: PYTHONPATH=<build>/python.

file(GLOB python_sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/bindings/python/tessolt/*.py)
set(python_folder ${PROJECT_BINARY_DIR}/python/tessolt)
set(python_staged)
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
