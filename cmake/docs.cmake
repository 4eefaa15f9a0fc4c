# The reference as HTML in <build>/docs, by `cmake --build <build> --target docs`: from the public headers, without what
# only they use themselves. It fails on a public name without a comment.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  add_custom_target(docs COMMAND ${CMAKE_COMMAND} -E echo "The reference wants doxygen (apt-get install doxygen)"
                         COMMAND ${CMAKE_COMMAND} -E false)
  return()
endif()

configure_file(docs/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
file(GLOB public_headers CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/tessolt/*.h)
add_custom_command(
  OUTPUT ${PROJECT_BINARY_DIR}/docs/html/index.html
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/docs
  COMMAND ${CMAKE_COMMAND} -E rm -f ${PROJECT_BINARY_DIR}/docs/html/index.html
  COMMAND Doxygen::doxygen ${PROJECT_BINARY_DIR}/Doxyfile
  DEPENDS ${public_headers} ${PROJECT_BINARY_DIR}/Doxyfile ${PROJECT_SOURCE_DIR}/docs/reference.md
  COMMENT "Making the reference"
  VERBATIM)
add_custom_target(docs DEPENDS ${PROJECT_BINARY_DIR}/docs/html/index.html)
