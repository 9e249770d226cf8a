# add_sandbox_test(NAME name COMMAND cmd [args...])
# Registers a CTest test that runs cmd as root inside scripts/sandbox, so that
# whatever it changes (/etc, the firewall, the host name) stays in a throwaway root.
function(add_sandbox_test)
  cmake_parse_arguments(ST "" "NAME;TIMEOUT" "COMMAND" ${ARGN})
  add_test(NAME ${ST_NAME}
           COMMAND ${CMAKE_SOURCE_DIR}/scripts/sandbox -- ${ST_COMMAND})
  if(NOT ST_TIMEOUT)
    set(ST_TIMEOUT 300)
  endif()
  set_tests_properties(${ST_NAME} PROPERTIES TIMEOUT ${ST_TIMEOUT} LABELS sandbox)
endfunction()
