# Header-only Debian packages for a tool that is cross-built too: each header
# found on the host is reached through a directory of links to its top
# directory, so a cross build sees these headers and none of the host's
# others. Sets `out` to that directory, or to "" (after a warning naming
# the packages) when a header is missing.
#   zel_host_headers(<out> <tool> <packages> <header>...)
function(zel_host_headers out tool packages)
  set(dir ${CMAKE_CURRENT_BINARY_DIR}/third_party)
  file(MAKE_DIRECTORY ${dir})
  foreach(header IN LISTS ARGN)
    string(MAKE_C_IDENTIFIER "ZEL_HEADER_${header}" found)
    find_path(${found} ${header} NO_CMAKE_FIND_ROOT_PATH)
    if(NOT ${found})
      message(WARNING "${tool} is not built: install ${packages}")
      set(${out} "" PARENT_SCOPE)
      return()
    endif()
    string(REGEX REPLACE "/.*" "" top ${header})
    file(CREATE_LINK ${${found}}/${top} ${dir}/${top} SYMBOLIC)
  endforeach()
  set(${out} ${dir} PARENT_SCOPE)
endfunction()
