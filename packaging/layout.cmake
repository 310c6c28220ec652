# Where each thing is installed. By default below any prefix, to be used from there; with QEL_DEBIAN
# where Debian's packages have it, some of that outside the prefix /usr.
include(GNUInstallDirs)

set(QEL_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/qelalertlog)  # the headers' names are common words
set(QEL_WEB_DIR ${CMAKE_INSTALL_DATADIR}/qelalert-web)
set(QEL_SYSUSERS_DIR lib/sysusers.d)
set(QEL_TMPFILES_DIR lib/tmpfiles.d)
set(QEL_SYSCTL_DIR lib/sysctl.d)
set(QEL_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/qelalertlog)
if(QEL_DEBIAN)
  set(QEL_UNIT_DIR /lib/systemd/system)
  set(QEL_CONFIG_DIR /etc/qelalert)
  set(QEL_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/qelalertd)
  set(CMAKE_SKIP_INSTALL_RPATH ON)  # the system's loader knows the place
  # What is left of the build's own paths does not depend on where the tree lies.
  set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
else()
  set(QEL_UNIT_DIR lib/systemd/system)
  set(QEL_CONFIG_DIR ${CMAKE_INSTALL_DATADIR}/qelalert/config)
  set(QEL_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/qelalertlog)
  # Relative to the file, so that a prefix works wherever it lies and may be moved. The first is for
  # libraries, the second for programs.
  set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()
