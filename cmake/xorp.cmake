# Real XORP, built by scripts/lib/build-xorp (scripts/test does so before it
# configures), for the tests and the bench that run XORP's own programs
# against ours. Never linked into anything of this project. Tests that need it
# exit 77 (skipped) when its programs are missing.
set(LOGIN_XORP_DIR "${CMAKE_BINARY_DIR}/xorp" CACHE PATH
    "Where scripts/lib/build-xorp built real XORP (programs under build/libxipc and build/rtrmgr)")
