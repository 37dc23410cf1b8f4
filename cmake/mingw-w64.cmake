# Cross build for Windows x86-64 from Linux with MinGW-w64, posix thread
# model (the win32 model has no std::recursive_mutex or std::shared_mutex).
# The programs run under Wine; see scripts/test-windows.sh.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KOV_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KOV_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KOV_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${KOV_MINGW_TRIPLE}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${KOV_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Test programs are Windows programs: CMake runs them (test discovery) through Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR wine)
