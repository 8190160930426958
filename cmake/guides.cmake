# The code of the guides (docs/*.md), extracted when the build is configured
# (again whenever a guide changes): whole programs become executables
# guide_<name>, with the function blocks they use, held to C99 without
# warnings like the examples; every function block is also compiled into
# one object library. tests/ runs the programs
# against the simulator. ZEL_GUIDE_PROGRAMS lists the programs' names.
file(GLOB ZEL_GUIDE_PAGES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/*.md)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ZEL_GUIDE_PAGES}
  ${CMAKE_SOURCE_DIR}/docs/extract_code.awk)
set(ZEL_GUIDE_CODE ${CMAKE_BINARY_DIR}/guides)
file(REMOVE_RECURSE ${ZEL_GUIDE_CODE})
file(MAKE_DIRECTORY ${ZEL_GUIDE_CODE})
execute_process(COMMAND awk -v out=${ZEL_GUIDE_CODE} -f ${CMAKE_SOURCE_DIR}/docs/extract_code.awk ${ZEL_GUIDE_PAGES}
  OUTPUT_VARIABLE manifest ERROR_VARIABLE problem RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "The guides' code cannot be extracted:\n${problem}")
endif()

set(ZEL_GUIDE_PROGRAMS "")
set(functions "")
string(REPLACE "\n" ";" entries "${manifest}")
foreach(entry IN LISTS entries)
  if(entry MATCHES "^program ([a-z0-9_]+)(.*)$")
    set(name ${CMAKE_MATCH_1})
    separate_arguments(uses UNIX_COMMAND "${CMAKE_MATCH_2}")
    list(TRANSFORM uses REPLACE "(.+)" "${ZEL_GUIDE_CODE}/\\1.c")
    add_executable(guide_${name} ${ZEL_GUIDE_CODE}/${name}.c ${uses})
    target_link_libraries(guide_${name} PRIVATE zelto_sdk Threads::Threads)
    list(APPEND ZEL_GUIDE_PROGRAMS ${name})
  elseif(entry MATCHES "^function (.+)$")
    list(APPEND functions ${ZEL_GUIDE_CODE}/${CMAKE_MATCH_1}.c)
  endif()
endforeach()
if(functions)
  add_library(guide_functions OBJECT ${functions})
  target_include_directories(guide_functions PRIVATE ${CMAKE_SOURCE_DIR}/include)
endif()
foreach(target IN LISTS ZEL_GUIDE_PROGRAMS ITEMS functions)
  set(target guide_${target})
  if(TARGET ${target})
    set_target_properties(${target} PROPERTIES C_STANDARD 99 C_EXTENSIONS OFF)
    target_compile_options(${target} PRIVATE -Wall -Wextra -pedantic -Werror)
  endif()
endforeach()
