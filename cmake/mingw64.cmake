# GCC of mingw-w64 for 64-bit Windows, with the POSIX thread model (std::thread and friends).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(triplet x86_64-w64-mingw32)
find_program(CMAKE_C_COMPILER ${triplet}-gcc-posix)
find_program(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
find_program(CMAKE_RC_COMPILER ${triplet}-windres)
if(NOT CMAKE_CXX_COMPILER)
    message(FATAL_ERROR "${triplet}-g++-posix is missing; run scripts/setup, or: "
                        "apt-get install g++-mingw-w64-x86-64-posix")
endif()

foreach(language C CXX)
    set(CMAKE_${language}_FLAGS_RELEASE_INIT "-O2 -DNDEBUG")
    set(CMAKE_${language}_FLAGS_DEBUG_INIT "-Og -g")
endforeach()

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
