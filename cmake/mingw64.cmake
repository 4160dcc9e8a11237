# 64-bit Windows: only the installer tool for 64-bit systems.
set(triplet x86_64-w64-mingw32)
set(package g++-mingw-w64-x86-64-posix)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
include("${CMAKE_CURRENT_LIST_DIR}/mingw.cmake")
