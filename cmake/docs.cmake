# `docs`: the reference (from the public header) and the guides (docs/*.md)
# as HTML in <build>/docs/html, when doxygen is installed. Not part of `all`;
# the test command builds it. Any doxygen warning fails the target and leaves
# no HTML behind, so a later build tries again.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  message(STATUS "doxygen not found: no docs target")
  return()
endif()

file(GLOB ZEL_GUIDES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/*.md)
set(ZEL_DOCS_OUT ${CMAKE_BINARY_DIR}/docs)
set(ZEL_DOCS_INDEX ${ZEL_DOCS_OUT}/html/index.html)
add_custom_command(OUTPUT ${ZEL_DOCS_INDEX}
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${ZEL_DOCS_OUT}/html
  COMMAND ${CMAKE_COMMAND} -E env ZEL_VERSION=${PROJECT_VERSION} ZEL_DOCS_OUT=${ZEL_DOCS_OUT}
          sh -c "${DOXYGEN_EXECUTABLE} docs/Doxyfile || { rm -rf '${ZEL_DOCS_OUT}/html'; exit 1; }"
  WORKING_DIRECTORY ${CMAKE_SOURCE_DIR}
  DEPENDS ${CMAKE_SOURCE_DIR}/docs/Doxyfile ${CMAKE_SOURCE_DIR}/include/zelto_sdk.h ${ZEL_GUIDES}
  COMMENT "Reference and guides (doxygen, warnings are errors)"
  VERBATIM)
add_custom_target(docs DEPENDS ${ZEL_DOCS_INDEX})
