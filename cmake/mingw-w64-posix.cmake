# Cross build for 64-bit Windows with the posix-thread flavour of MinGW-w64
# (the win32 flavour lacks std::mutex, which GoogleTest needs).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(RUVO_MINGW_PREFIX x86_64-w64-mingw32)
set(CMAKE_C_COMPILER   ${RUVO_MINGW_PREFIX}-gcc-posix)
set(CMAKE_CXX_COMPILER ${RUVO_MINGW_PREFIX}-g++-posix)
set(CMAKE_RC_COMPILER  ${RUVO_MINGW_PREFIX}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${RUVO_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Tests and tools run through Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
