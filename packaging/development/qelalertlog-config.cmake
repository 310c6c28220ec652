# Targets: qelalertlog::qelalertlog, and the platform libraries qelalertlog::qellog,
# qelalertlog::qelxml and qelalertlog::qelipc.
include(${CMAKE_CURRENT_LIST_DIR}/qelalertlog-targets.cmake)
