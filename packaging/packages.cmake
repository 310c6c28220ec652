# The Debian packages, one a component. Files that only packages have lie in debian: each package's
# control files in the folder of its name.

# Revision and maintainer stand in the newest entry of the changelog.
file(STRINGS debian/changelog qel_entry REGEX "^qelalertlog |^ -- " LIMIT_COUNT 2)
if(NOT qel_entry MATCHES
    "^qelalertlog \\(${PROJECT_VERSION}-([0-9]+)\\)[^;]*;[^;]*; -- ([^>]+>)")
  message(FATAL_ERROR "debian/changelog does not begin with version ${PROJECT_VERSION}")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_1})
set(CPACK_PACKAGE_CONTACT ${CMAKE_MATCH_2})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_NAME qelalertlog)
set(CPACK_GENERATOR DEB)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_SET_DESTDIR ON)  # templates get the final prefix, not that of a staging directory
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The packages are made in the order of their components' names, so that of the libraries is not
# there yet when the daemon's is; the dependency on it is told below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/altd/src)
foreach(library IN ITEMS qellog qelxml qelipc)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/platform/${library})
endforeach()
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(qel_version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
set(qel_needs_library "libqelalertlog1.0 (= ${qel_version})")
qel_gzip(${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog
  ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz)
qel_gzip(${PROJECT_SOURCE_DIR}/CHANGELOG.md ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)

# qel_package(<component> <package> <section> <description>): the first line of the description is
# its summary.
macro(qel_package component package section description)
  string(TOUPPER ${component} qel_upper)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${qel_upper}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${qel_upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${qel_upper}_DESCRIPTION "${description}")
  file(GLOB CPACK_DEBIAN_${qel_upper}_PACKAGE_CONTROL_EXTRA CONFIGURE_DEPENDS
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/${package}/*)
  list(FILTER CPACK_DEBIAN_${qel_upper}_PACKAGE_CONTROL_EXTRA EXCLUDE REGEX lintian-overrides$)
  install(FILES debian/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
    ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/debian/${package}/lintian-overrides)
    install(FILES debian/${package}/lintian-overrides RENAME ${package}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component})
  endif()
endmacro()

set(qel_about "The alert log keeps the operational alerts of a cluster of servers: one that
is raised on one server soon stands in the log of every server, and a server
that was away fetches what it has missed.\n\n")

# One package for four libraries: the three below the alert log are released with it, and packages
# of their own would only be three more that must have one version.
qel_package(library libqelalertlog1.0 libs "alert log of a cluster of servers - shared libraries
${qel_about}This package has the library that programs raise and read alerts with, and
the three small libraries below it.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SUGGESTS qelalertd)

qel_package(dev libqelalertlog-dev libdevel "alert log of a cluster of servers - development files
${qel_about}This package has the headers, a CMake package and a pkg-config file.")
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS ${qel_needs_library})

qel_package(daemon qelalertd admin "alert log of a cluster of servers - daemon
${qel_about}This package has the daemon, which stores the alerts of its server and
exchanges them with the other servers. It is on every server of the cluster.")
set(CPACK_DEBIAN_DAEMON_PACKAGE_DEPENDS
  "${qel_needs_library}, systemd | systemd-standalone-sysusers, systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_DAEMON_PACKAGE_RECOMMENDS qelalert)

qel_package(tool qelalert admin "alert log of a cluster of servers - command line tools
${qel_about}This package has qelalert, which raises, lists and shows alerts and tells the
state of the daemon, and qelipc, for the state that all programs share.")
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS ${qel_needs_library})
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS qelalertd)

qel_package(web qelalert-web admin "alert log of a cluster of servers - front end for browsers
${qel_about}This package has qelalert-web, which serves the log over HTTP: a page for
browsers, search, a live stream, and figures for monitoring systems.")
set(CPACK_DEBIAN_WEB_PACKAGE_DEPENDS "${qel_needs_library}, qelalertd (= ${qel_version})")

include(CPack)
