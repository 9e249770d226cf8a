# GoogleTest for a cross build: the host's libgtest is of the wrong machine,
# so GoogleTest is built for the target from Debian's sources (libgtest-dev
# installs them under /usr/src/googletest). Provides GTest::gtest and
# GTest::gtest_main as find_package(GTest) would.
set(LOGIN_GTEST_SOURCE_DIR /usr/src/googletest CACHE PATH
    "GoogleTest sources built for the target in a cross build")
if(NOT EXISTS ${LOGIN_GTEST_SOURCE_DIR}/CMakeLists.txt)
  message(FATAL_ERROR "No GoogleTest sources in ${LOGIN_GTEST_SOURCE_DIR} "
                      "(apt-get install libgtest-dev)")
endif()
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
set(gtest_force_shared_crt OFF CACHE BOOL "" FORCE)
add_subdirectory(${LOGIN_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest
                 EXCLUDE_FROM_ALL SYSTEM)
foreach(lib gtest gtest_main)
  if(NOT TARGET GTest::${lib})
    add_library(GTest::${lib} ALIAS ${lib})
  endif()
endforeach()
