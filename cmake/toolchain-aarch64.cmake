# Cross build for AArch64 Linux with Debian's cross compiler, against the
# arm64 copies of TinyXML and GoogleTest installed through multiarch
# (dpkg --add-architecture arm64; libtinyxml-dev:arm64, libgtest-dev:arm64,
# libgmock-dev:arm64). Test programs run under qemu-aarch64.
#
#   cmake -S . -B build-aarch64 -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-aarch64.cmake
#
# The cross tool names can be overridden with TARNIX_CROSS_PREFIX (default
# "aarch64-linux-gnu-") and the emulator with TARNIX_QEMU (default
# "qemu-aarch64").

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(TARNIX_CROSS_TRIPLE aarch64-linux-gnu)
if(NOT DEFINED TARNIX_CROSS_PREFIX)
    set(TARNIX_CROSS_PREFIX "${TARNIX_CROSS_TRIPLE}-")
endif()
if(NOT DEFINED TARNIX_QEMU)
    set(TARNIX_QEMU qemu-aarch64)
endif()
# try_compile() projects re-read this file; hand them the same choices.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TARNIX_CROSS_PREFIX TARNIX_QEMU)

set(CMAKE_C_COMPILER ${TARNIX_CROSS_PREFIX}gcc)
set(CMAKE_CXX_COMPILER ${TARNIX_CROSS_PREFIX}g++)

# Debian multiarch: the cross C library lives in /usr/aarch64-linux-gnu, the
# arm64 packages in /usr/lib/aarch64-linux-gnu (headers in /usr/include,
# per-architecture ones in /usr/include/aarch64-linux-gnu). Searching "/" as a
# second root with the library architecture set makes find_library and
# find_package look in <prefix>/lib/aarch64-linux-gnu, never in the host's
# x86_64-linux-gnu directories.
set(CMAKE_LIBRARY_ARCHITECTURE ${TARNIX_CROSS_TRIPLE})
set(CMAKE_FIND_ROOT_PATH /usr/${TARNIX_CROSS_TRIPLE} /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
list(APPEND CMAKE_LIBRARY_PATH /usr/lib/${TARNIX_CROSS_TRIPLE} /lib/${TARNIX_CROSS_TRIPLE})
list(APPEND CMAKE_INCLUDE_PATH /usr/include/${TARNIX_CROSS_TRIPLE})
list(APPEND CMAKE_PREFIX_PATH /usr/lib/${TARNIX_CROSS_TRIPLE}/cmake)
# Host library directories hold x86-64 copies of the same packages.
set(CMAKE_IGNORE_PATH /usr/lib/x86_64-linux-gnu /lib/x86_64-linux-gnu /usr/include/x86_64-linux-gnu
                      /usr/lib/x86_64-linux-gnu/cmake/GTest)

# Test programs (gtest_discover_tests, ctest) run under user-mode emulation.
# -L points the emulated loader at the cross C library. Its loader must be
# paired with the libc.so.6 of the same build: the multiarch libc6:arm64 that
# the arm64 packages pull into /usr/lib/aarch64-linux-gnu is another build
# (the host's ld.so.cache would hand it out first), and a mismatched pair hangs
# in the first pthread_create. LD_LIBRARY_PATH puts the cross runtime first;
# TinyXML still comes from /usr/lib/aarch64-linux-gnu. QEMU_LD_PREFIX passes
# the same prefix on to AArch64 programs that a test starts (a death test
# re-executing itself), which the kernel hands to qemu-aarch64 through
# binfmt_misc (scripts/test-aarch64.sh registers it).
set(CMAKE_CROSSCOMPILING_EMULATOR ${TARNIX_QEMU} -L /usr/${TARNIX_CROSS_TRIPLE}
    -E LD_LIBRARY_PATH=/usr/${TARNIX_CROSS_TRIPLE}/lib -E QEMU_LD_PREFIX=/usr/${TARNIX_CROSS_TRIPLE})
