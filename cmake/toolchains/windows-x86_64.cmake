# Builds for 64-bit Windows on Linux, with Debian's mingw-w64 (POSIX threads) and the libraries of scripts/windows-deps.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# With -O3, GCC 12 warns of overlapping copies in operator+ of strings where there are none.
set(CMAKE_CXX_FLAGS_INIT -Wno-restrict)

# CMake reads this file again for each of its compiler checks. The cache variable is passed on to them, so that the
# script is asked only once.
set(DRAVIX_WINDOWS_DEPS "" CACHE PATH "Folder made by scripts/windows-deps; empty asks that script")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES DRAVIX_WINDOWS_DEPS)
if(NOT DRAVIX_WINDOWS_DEPS)
  execute_process(
    COMMAND ${CMAKE_CURRENT_LIST_DIR}/../../scripts/windows-deps --where
    OUTPUT_VARIABLE DRAVIX_WINDOWS_DEPS OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "The libraries for Windows have not been built: run scripts/windows-deps (once, about 5 minutes)")
  endif()
endif()

# Only libraries, headers and packages for Windows may be found, while programs must be those of this machine.
set(CMAKE_FIND_ROOT_PATH ${DRAVIX_WINDOWS_DEPS} /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../../scripts/windows-run)
