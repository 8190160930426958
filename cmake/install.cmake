# Installation and Debian packages. Components: runtime (the shared object),
# dev (header, unversioned link, pkg-config and CMake files), tools (the
# command-line tool and, on the build host, the simulator).
# GNUInstallDirs picks Debian's multiarch library directory for native
# builds only; a cross build for a Debian target gets it here.
if(CMAKE_CROSSCOMPILING AND CMAKE_LIBRARY_ARCHITECTURE AND CMAKE_INSTALL_PREFIX MATCHES "^/usr/?$")
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Object code libraries")
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(ZEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zelto_sdk)
set(ZEL_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

install(TARGETS zelto_sdk EXPORT zelto_sdkTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(EXPORT zelto_sdkTargets NAMESPACE zelto_sdk:: DESTINATION ${ZEL_CMAKE_DIR} COMPONENT dev)

configure_package_config_file(cmake/zelto_sdkConfig.cmake.in
  ${CMAKE_BINARY_DIR}/zelto_sdkConfig.cmake INSTALL_DESTINATION ${ZEL_CMAKE_DIR})
# The soname changes only with the major version: any 2.x at or above the
# version asked for serves.
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zelto_sdkConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zelto_sdkConfig.cmake ${CMAKE_BINARY_DIR}/zelto_sdkConfigVersion.cmake
  DESTINATION ${ZEL_CMAKE_DIR} COMPONENT dev)

# Paths relative to the .pc file's own directory, so the file stays right
# under any install prefix chosen at install time.
file(RELATIVE_PATH ZEL_PC_TO_PREFIX /${ZEL_PKGCONFIG_DIR} /)
set(ZEL_PC_PREFIX "\${pcfiledir}/${ZEL_PC_TO_PREFIX}")
string(REGEX REPLACE "/$" "" ZEL_PC_PREFIX "${ZEL_PC_PREFIX}")
set(ZEL_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
set(ZEL_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
configure_file(cmake/zelto_sdk.pc.in ${CMAKE_BINARY_DIR}/zelto_sdk.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zelto_sdk.pc DESTINATION ${ZEL_PKGCONFIG_DIR} COMPONENT dev)

set(ZEL_ELF_FILES "set(ZEL_ELF_runtime $<TARGET_FILE:zelto_sdk>)\n")
set(ZEL_COMPONENTS runtime dev)
foreach(tool zelctl zelsim zeltap)
  if(TARGET ${tool})
    install(TARGETS ${tool} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    string(APPEND ZEL_ELF_FILES "list(APPEND ZEL_ELF_tools $<TARGET_FILE:${tool}>)\n")
    set(ZEL_COMPONENTS runtime dev tools)
  endif()
endforeach()
file(GENERATE OUTPUT ${CMAKE_BINARY_DIR}/packaging/elf_files.cmake CONTENT "${ZEL_ELF_FILES}")

# The reference and the guides as HTML, when doxygen can build them (`ninja
# docs`): only into their package, which CPack leaves out while they are
# not built (cmake/deb_depends.cmake).
if(TARGET docs)
  set(ZEL_DOC_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/libzelto-sdk-doc)
  install(DIRECTORY ${CMAKE_BINARY_DIR}/docs/html/ DESTINATION ${ZEL_DOC_DIR}/html COMPONENT doc
    OPTIONAL EXCLUDE_FROM_ALL)
  # Registered with doc-base, which names the files where the package puts them.
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/doc-base DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc-base
    RENAME libzelto-sdk-doc COMPONENT doc EXCLUDE_FROM_ALL)
  list(APPEND ZEL_COMPONENTS doc)
endif()

# --- Debian packages -----------------------------------------------------
# Debian names: the runtime package carries the soname's major version.
set(ZEL_DEB_runtime libzelto-sdk2)
set(ZEL_DEB_dev libzelto-sdk-dev)
set(ZEL_DEB_tools zelto-sdk-tools)
set(ZEL_DEB_doc libzelto-sdk-doc)

# Each package carries its copyright file and its compressed changelog
# (installed only into packages); the tools their manual pages.
foreach(component IN LISTS ZEL_COMPONENTS)
  set(doc ${CMAKE_INSTALL_DATAROOTDIR}/doc/${ZEL_DEB_${component}})
  set(gz ${CMAKE_BINARY_DIR}/packaging/${component}/changelog.gz)
  add_custom_command(OUTPUT ${gz}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/packaging/${component}
    COMMAND gzip -9n -c ${CMAKE_SOURCE_DIR}/packaging/changelog > ${gz}
    DEPENDS ${CMAKE_SOURCE_DIR}/packaging/changelog VERBATIM)
  list(APPEND ZEL_CHANGELOGS ${gz})
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/copyright ${gz} DESTINATION ${doc} COMPONENT ${component}
    EXCLUDE_FROM_ALL)
endforeach()
# The manual pages are made from the tools' --help texts (run under the
# build's emulator when cross-built), so they say what --help says.
foreach(tool zelctl zelsim zeltap)
  if(TARGET ${tool})
    set(gz ${CMAKE_BINARY_DIR}/packaging/${tool}.1.gz)
    set(man ${CMAKE_BINARY_DIR}/packaging/${tool}.1)
    set(tail ${CMAKE_SOURCE_DIR}/packaging/${tool}.1.tail)
    add_custom_command(OUTPUT ${gz}
      COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0
              bash ${CMAKE_SOURCE_DIR}/packaging/help_to_man.sh ${tool} ${PROJECT_VERSION} ${tail} ${man}
              -- ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:${tool}>
      COMMAND gzip -9n -c ${man} > ${gz}
      DEPENDS ${tool} ${CMAKE_SOURCE_DIR}/packaging/help_to_man.sh ${tail} VERBATIM)
    list(APPEND ZEL_CHANGELOGS ${gz})
    install(FILES ${gz} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  endif()
endforeach()
add_custom_target(zel_changelogs ALL DEPENDS ${ZEL_CHANGELOGS})

if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zelto-sdk)
set(CPACK_PACKAGE_VENDOR "zelto_sdk developers")
set(CPACK_PACKAGE_CONTACT "zelto_sdk developers <zelto-sdk@example.com>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${ZEL_COMPONENTS})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://example.com/zelto_sdk")
foreach(component runtime dev tools doc)
  string(TOUPPER ${component} C)
  set(CPACK_DEBIAN_${C}_PACKAGE_NAME ${ZEL_DEB_${component}})
endforeach()
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "modem client library for the LTE/IoT module
zelto_sdk drives the modem of the LTE/IoT module through the local SDK
server: calls, identification, network and packet data, GNSS, SIM, SMS,
firmware update, peripherals and sleep, as plain C functions.")
set(CPACK_DEBIAN_DEV_DESCRIPTION "modem client library for the LTE/IoT module (development files)
zelto_sdk drives the modem of the LTE/IoT module through the local SDK
server. This package holds the header, the pkg-config file and the CMake
package files for building applications against it.")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "command-line tool for the modem of the LTE/IoT module
zelctl queries and drives the modem through zelto_sdk from a shell, with
human-readable or JSON output; zeltap records the traffic between
applications and the SDK server on a device, for replay by a simulator.
On development hosts the package also holds zelsim, a scriptable simulator
of the SDK server and the modem, which replays such recordings.")
set(CPACK_DEBIAN_DOC_DESCRIPTION "modem client library for the LTE/IoT module (documentation)
zelto_sdk drives the modem of the LTE/IoT module through the local SDK
server. This package holds its reference, generated from the header, and
its guides (getting started, threads and callbacks, errors and timeouts,
logging, deploying, testing with the simulator) as HTML.")
# The runtime package registers the library with ldconfig and lists its
# shared-library dependency information.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
file(WRITE ${CMAKE_BINARY_DIR}/packaging/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/packaging/triggers)
# Dependencies are read from the built files when CPack runs.
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_SOURCE_DIR}/cmake/deb_depends.cmake)
set(CPACK_ZEL_READELF ${CMAKE_READELF})
set(CPACK_ZEL_BINARY_DIR ${CMAKE_BINARY_DIR})
include(CPack)
