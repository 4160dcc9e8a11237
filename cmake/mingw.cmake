# GCC of mingw-w64, with the POSIX thread model, which std::thread needs. The toolchain files of the two
# bitnesses include this file after setting the triplet and the Debian package of the compiler.
set(CMAKE_SYSTEM_NAME Windows)

if(NOT DEFINED CMAKE_CXX_COMPILER)
    find_program(CMAKE_C_COMPILER ${triplet}-gcc-posix)
    find_program(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
endif()
find_program(CMAKE_RC_COMPILER ${triplet}-windres)
if(NOT CMAKE_CXX_COMPILER)
    message(FATAL_ERROR "${triplet}-g++-posix is missing; run scripts/setup, or: "
                        "apt-get install ${package}")
endif()

foreach(language C CXX)
    set(CMAKE_${language}_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "Flags of release builds")
    set(CMAKE_${language}_FLAGS_DEBUG "-Og -g" CACHE STRING "Flags of debug builds")
endforeach()

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
