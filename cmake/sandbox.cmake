# Sandboxed tests: scripts/sandbox runs a command as root in a throwaway root
# with private namespaces, so that whatever it changes (/etc, the firewall,
# the host name, users) never reaches the machine.

# The sandbox's /bin/sh, which journals `sh -c` lines. scripts/sandbox uses
# this copy when it is current and compiles its own otherwise. It runs on the
# machine that runs the tests, so a cross build compiles it for the host.
if(CMAKE_CROSSCOMPILING)
  set(LOGIN_HOST_CXX c++ CACHE STRING "The host's C++ compiler, for host tools of a cross build")
  set(_journal_sh ${CMAKE_BINARY_DIR}/sandbox/journal-sh)
  add_custom_command(OUTPUT ${_journal_sh}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/sandbox
    COMMAND ${LOGIN_HOST_CXX} -O2 -std=c++17 -Wall -Wextra -Werror
            -o ${_journal_sh} ${CMAKE_SOURCE_DIR}/scripts/lib/journal_sh.cc
    DEPENDS ${CMAKE_SOURCE_DIR}/scripts/lib/journal_sh.cc
    COMMENT "Building the sandbox's journal sh for the host"
    VERBATIM)
  add_custom_target(sandbox_journal_sh ALL DEPENDS ${_journal_sh})
else()
  add_executable(sandbox_journal_sh ${CMAKE_SOURCE_DIR}/scripts/lib/journal_sh.cc)
  set_target_properties(sandbox_journal_sh PROPERTIES
    OUTPUT_NAME journal-sh
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/sandbox)
endif()

# In a cross build, the daemon's tests that drive processes need the finder
# and the tools of a native build; the daemon itself runs under the emulator.
set(LOGIN_HOST_BUILD_DIR "" CACHE PATH
    "Native build tree whose finder and tools drive the target daemon in the sandboxed tests of a cross build")

# add_sandbox_test(NAME name COMMAND cmd [args...] [TIMEOUT seconds] [ON_TARGET])
# Registers a CTest test that runs cmd inside scripts/sandbox, with this build
# tree's bin/ providing login, xorp_finder, call_xrl and xrl_peer.
# In a cross build, a cmd that is a program of this build ($<TARGET_FILE:...>)
# runs under CMAKE_CROSSCOMPILING_EMULATOR; any other cmd (a script driving
# processes) is registered only when marked ON_TARGET and LOGIN_HOST_BUILD_DIR
# is set, and then runs with the tools of that tree and this build's login
# under the emulator.
function(add_sandbox_test)
  cmake_parse_arguments(ST "ON_TARGET" "NAME;TIMEOUT" "COMMAND" ${ARGN})
  if(NOT ST_NAME OR NOT ST_COMMAND)
    message(FATAL_ERROR "add_sandbox_test: NAME and COMMAND are required")
  endif()
  set(env "LOGIN_BUILD_DIR=${CMAKE_BINARY_DIR}" "LOGIN_XORP_DIR=${LOGIN_XORP_DIR}")
  if(CMAKE_CROSSCOMPILING)
    list(GET ST_COMMAND 0 program)
    if(program MATCHES "^\\$<TARGET_FILE:")
      list(PREPEND ST_COMMAND ${CMAKE_CROSSCOMPILING_EMULATOR})
    elseif(ST_ON_TARGET AND LOGIN_HOST_BUILD_DIR)
      list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
      list(APPEND env "LOGIN_HOST_BUILD_DIR=${LOGIN_HOST_BUILD_DIR}"
                      "LOGIN_EMULATOR=${emulator}")
    else()
      return()
    endif()
  endif()
  add_test(NAME ${ST_NAME}
           COMMAND ${CMAKE_SOURCE_DIR}/scripts/sandbox -- ${ST_COMMAND})
  if(NOT ST_TIMEOUT)
    set(ST_TIMEOUT 300)
  endif()
  set_tests_properties(${ST_NAME} PROPERTIES
    TIMEOUT ${ST_TIMEOUT}
    SKIP_RETURN_CODE 77
    LABELS sandbox
    ENVIRONMENT "${env}")
endfunction()
