# Cross toolchain for the 64-bit Windows build of trova (trova.dll) with
# Debian's mingw-w64 packages (g++-mingw-w64-x86-64, binutils-mingw-w64-x86-64).
#
#   cmake --preset windows
#   cmake -S . -B build/windows -G Ninja \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/toolchain-mingw64.cmake -DTROVA_BUILD_TESTS=OFF
#
# The DLL and every test program must run on a bare Windows (or Wine) with
# nothing but system DLLs: libgcc and the C++ runtime are linked statically.
#
# TROVA_MINGW_THREADS picks the compiler variant:
#   win32 (default): no POSIX thread layer. The frame starts its worker with
#                    _beginthread and uses Win32 events, so it needs no more.
#                    GCC 12's win32 variant has no std::thread / std::mutex.
#   posix:           std::thread and friends work; winpthread is then linked
#                    statically as well (-static), so no libwinpthread-1.dll
#                    is needed at run time.
# The variant is named explicitly so the build does not depend on how the
# machine's update-alternatives happen to point x86_64-w64-mingw32-g++.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(TROVA_MINGW_TRIPLE x86_64-w64-mingw32)
set(TROVA_MINGW_THREADS "win32" CACHE STRING "mingw-w64 thread model: win32 or posix")
set_property(CACHE TROVA_MINGW_THREADS PROPERTY STRINGS win32 posix)
# try_compile() projects read this file again: hand them the same choice.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TROVA_MINGW_THREADS)
if(NOT TROVA_MINGW_THREADS MATCHES "^(win32|posix)$")
  message(FATAL_ERROR "TROVA_MINGW_THREADS must be win32 or posix, not '${TROVA_MINGW_THREADS}'")
endif()

find_program(TROVA_MINGW_GCC NAMES ${TROVA_MINGW_TRIPLE}-gcc-${TROVA_MINGW_THREADS} ${TROVA_MINGW_TRIPLE}-gcc)
find_program(TROVA_MINGW_GXX NAMES ${TROVA_MINGW_TRIPLE}-g++-${TROVA_MINGW_THREADS} ${TROVA_MINGW_TRIPLE}-g++)
find_program(TROVA_MINGW_WINDRES NAMES ${TROVA_MINGW_TRIPLE}-windres)
if(NOT TROVA_MINGW_GCC OR NOT TROVA_MINGW_GXX OR NOT TROVA_MINGW_WINDRES)
  message(FATAL_ERROR
    "mingw-w64 cross compilers not found (${TROVA_MINGW_TRIPLE}-gcc/g++/windres); "
    "run scripts/windows/install-deps.sh as root")
endif()

set(CMAKE_C_COMPILER ${TROVA_MINGW_GCC})
set(CMAKE_CXX_COMPILER ${TROVA_MINGW_GXX})
set(CMAKE_RC_COMPILER ${TROVA_MINGW_WINDRES})
# ar/ranlib/objdump come from the same binutils; CMake finds them beside the
# compiler by prefix, but say so for the tools that test scripts call.
find_program(CMAKE_AR NAMES ${TROVA_MINGW_TRIPLE}-ar)
find_program(CMAKE_RANLIB NAMES ${TROVA_MINGW_TRIPLE}-ranlib)
find_program(CMAKE_OBJDUMP NAMES ${TROVA_MINGW_TRIPLE}-objdump)

# Libraries, headers and packages come from the target sysroot only;
# programs (python3, the code generators) from the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${TROVA_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Results must be bit-exact on both platforms: no fused multiply-add
# contraction, whoever configures with this file.
set(CMAKE_C_FLAGS_INIT "-ffp-contract=off")
set(CMAKE_CXX_FLAGS_INIT "-ffp-contract=off")

# Only system DLLs at run time. No time stamp in the image headers, so the
# same sources give the same bytes.
set(_trova_static_runtime "-static-libgcc -static-libstdc++ -Wl,--no-insert-timestamp")
if(TROVA_MINGW_THREADS STREQUAL "posix")
  # The posix variant's libstdc++ and libgcc call into winpthread; -static
  # makes the linker take libwinpthread.a instead of its import library.
  string(APPEND _trova_static_runtime " -static")
endif()
set(CMAKE_EXE_LINKER_FLAGS_INIT "${_trova_static_runtime}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${_trova_static_runtime}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${_trova_static_runtime}")
unset(_trova_static_runtime)

# add_test() on a target of this build runs it under Wine with a virtual
# display (see scripts/windows/run-under-wine.sh).
get_filename_component(_trova_wine_runner
  "${CMAKE_CURRENT_LIST_DIR}/../scripts/windows/run-under-wine.sh" ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR "${_trova_wine_runner}")
unset(_trova_wine_runner)
