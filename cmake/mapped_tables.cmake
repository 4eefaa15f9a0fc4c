# The conversion tables as constant data, made while building of their stored form. The program that makes them runs
# where the build does: in a build for another processor by CMAKE_CROSSCOMPILING_EMULATOR, or as TESSOLT_TABLE_MAKER
# if that names one that was built for this machine. It isn't sanitized, since what it writes is the same.

set(TESSOLT_TABLE_MAKER "" CACHE FILEPATH "make_mapped_tables of another build, where ours can't run here")

set(mapped_tables ${PROJECT_BINARY_DIR}/mapped_tables_data.cpp)
set(maker make_mapped_tables)
if(TESSOLT_TABLE_MAKER)
  set(maker ${TESSOLT_TABLE_MAKER})
else()
  set(tables ${PROJECT_SOURCE_DIR}/src/charset/tables)
  set(base ${PROJECT_SOURCE_DIR}/src/base)
  add_executable(make_mapped_tables EXCLUDE_FROM_ALL
                 ${PROJECT_SOURCE_DIR}/tools/make_mapped_tables.cpp
                 ${tables}/stored_tables_data.cpp ${tables}/borvik_bzip2.cpp ${tables}/table_rows.cpp
                 ${tables}/table_maker.cpp ${base}/data_buffer.cpp ${base}/string_buffer.cpp
                 ${base}/string_buffer_edit.cpp ${base}/ascii_text.cpp
                 ${PROJECT_SOURCE_DIR}/src/platform/memory_pages.cpp)
  target_include_directories(make_mapped_tables PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(make_mapped_tables PRIVATE BZip2::BZip2)
endif()
add_custom_command(OUTPUT ${mapped_tables} COMMAND ${maker} ${mapped_tables} DEPENDS ${maker}
                   COMMENT "Making the mapped conversion tables")
target_sources(tessolt_charset_tables PRIVATE ${mapped_tables})
