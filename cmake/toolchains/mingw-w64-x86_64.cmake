# Cross-builds for Windows x64 with Debian's mingw-w64 (posix thread model,
# which std::thread and std::mutex need):
#   cmake -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/mingw-w64-x86_64.cmake \
#         -DKEL_MINGW_PREFIX=<cross prefix> ...
# Every binary carries its C and C++ runtimes, so it runs with nothing but
# Windows' own DLLs beside it.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KEL_MINGW_TRIPLET x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KEL_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KEL_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${KEL_MINGW_TRIPLET}-windres)
set(CMAKE_AR ${KEL_MINGW_TRIPLET}-gcc-ar-posix CACHE FILEPATH "")
set(CMAKE_RANLIB ${KEL_MINGW_TRIPLET}-gcc-ranlib-posix CACHE FILEPATH "")

# -static also pulls in winpthread statically, not only libgcc and libstdc++.
set(KEL_MINGW_STATIC_RUNTIME "-static -static-libgcc -static-libstdc++")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${KEL_MINGW_STATIC_RUNTIME}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${KEL_MINGW_STATIC_RUNTIME}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${KEL_MINGW_STATIC_RUNTIME}")

# Libraries and headers come only from the cross prefix given as
# -DKEL_MINGW_PREFIX=<dir> (where scripts/build-mingw-*.sh install) and the
# compiler's own sysroot, never from the build machine; programs are the
# build machine's.
set(KEL_MINGW_SYSROOT /usr/${KEL_MINGW_TRIPLET})
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KEL_MINGW_PREFIX)
list(APPEND CMAKE_FIND_ROOT_PATH ${KEL_MINGW_PREFIX} ${KEL_MINGW_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config reads only the cross prefix's .pc files, not the machine's.
if(KEL_MINGW_PREFIX)
  set(ENV{PKG_CONFIG_LIBDIR} "${KEL_MINGW_PREFIX}/lib/pkgconfig")
else()
  set(ENV{PKG_CONFIG_LIBDIR} "${KEL_MINGW_SYSROOT}/lib/pkgconfig")
endif()
set(PKG_CONFIG_USE_CMAKE_PREFIX_PATH OFF)
unset(ENV{PKG_CONFIG_PATH})
unset(ENV{PKG_CONFIG_SYSROOT_DIR})

# Test executables run under Wine (ctest, GoogleTest's discovery at build
# time) in a Wine prefix of the build tree, quietly and without a display.
find_program(KEL_WINE NAMES wine64 wine PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(KEL_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR
      ${CMAKE_COMMAND} -E env --unset=DISPLAY --unset=WAYLAND_DISPLAY
      WINEPREFIX=${CMAKE_BINARY_DIR}/wine WINEDEBUG=-all ${KEL_WINE})
endif()
