# Sandboxed tests: scripts/sandbox runs a command as root in a throwaway root
# with private namespaces, so that whatever it changes (/etc, the firewall,
# the host name, users) never reaches the machine.

# The sandbox's /bin/sh, which journals `sh -c` lines. scripts/sandbox uses
# this copy when it is current and compiles its own otherwise.
add_executable(sandbox_journal_sh ${CMAKE_SOURCE_DIR}/scripts/lib/journal_sh.cc)
set_target_properties(sandbox_journal_sh PROPERTIES
  OUTPUT_NAME journal-sh
  RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/sandbox)

# add_sandbox_test(NAME name COMMAND cmd [args...] [TIMEOUT seconds])
# Registers a CTest test that runs cmd inside scripts/sandbox, with this build
# tree's bin/ providing login, xorp_finder, call_xrl and xrl_peer.
function(add_sandbox_test)
  cmake_parse_arguments(ST "" "NAME;TIMEOUT" "COMMAND" ${ARGN})
  if(NOT ST_NAME OR NOT ST_COMMAND)
    message(FATAL_ERROR "add_sandbox_test: NAME and COMMAND are required")
  endif()
  add_test(NAME ${ST_NAME}
           COMMAND ${CMAKE_SOURCE_DIR}/scripts/sandbox -- ${ST_COMMAND})
  if(NOT ST_TIMEOUT)
    set(ST_TIMEOUT 300)
  endif()
  set_tests_properties(${ST_NAME} PROPERTIES
    TIMEOUT ${ST_TIMEOUT}
    LABELS sandbox
    ENVIRONMENT "LOGIN_BUILD_DIR=${CMAKE_BINARY_DIR}")
endfunction()
