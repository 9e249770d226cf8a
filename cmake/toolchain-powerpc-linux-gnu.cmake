# Cross build for the switch: 32-bit big-endian PowerPC, Linux, glibc, with
# Debian's cross compiler (apt-get install g++-powerpc-linux-gnu).
#
#   cmake -S . -B build/powerpc-linux-gnu \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-powerpc-linux-gnu.cmake
#
# Test programs run through qemu-user (apt-get install qemu-user); the
# libraries of the target come from Debian's cross tree.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR powerpc)

set(LOGIN_TARGET_TRIPLE powerpc-linux-gnu)
set(LOGIN_TARGET_SYSROOT /usr/${LOGIN_TARGET_TRIPLE})

set(CMAKE_C_COMPILER ${LOGIN_TARGET_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${LOGIN_TARGET_TRIPLE}-g++)

# Headers and libraries of the target only; programs (python3, qemu) of the host.
set(CMAKE_FIND_ROOT_PATH ${LOGIN_TARGET_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# CTest and gtest_discover_tests run every target program through this.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc;-L;${LOGIN_TARGET_SYSROOT})

# What CPack writes into the .deb as its architecture.
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE powerpc)
