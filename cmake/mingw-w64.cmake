# Cross-build for 64-bit Windows with mingw-w64 (posix threads flavour). Tests run under Wine
# through scripts/wine-run.
#   cmake -S . -B build-win -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VESK_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${VESK_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${VESK_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER ${VESK_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${VESK_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test programs (and anything CMake runs from the build) go through Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run)
