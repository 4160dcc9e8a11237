# 32-bit Windows: the library and everything that links with it.
set(triplet i686-w64-mingw32)
set(package g++-mingw-w64-i686-posix)
set(CMAKE_SYSTEM_PROCESSOR x86)
include("${CMAKE_CURRENT_LIST_DIR}/mingw.cmake")
