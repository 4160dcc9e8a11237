# Clang for 32-bit Windows on the headers, runtime and linker of GCC's mingw-w64.
include("${CMAKE_CURRENT_LIST_DIR}/mingw32.cmake")

execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=include
                OUTPUT_VARIABLE gcc_include OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(gcc_root "${gcc_include}" DIRECTORY)

unset(CMAKE_C_COMPILER CACHE)
unset(CMAKE_CXX_COMPILER CACHE)
find_program(CMAKE_C_COMPILER clang)
find_program(CMAKE_CXX_COMPILER clang++)
if(NOT CMAKE_CXX_COMPILER)
    message(FATAL_ERROR "clang++ is missing; run scripts/setup --extras, or: apt-get install clang")
endif()
set(CMAKE_C_COMPILER_TARGET ${triplet})
set(CMAKE_CXX_COMPILER_TARGET ${triplet})

# Clang looks for GCC's folder by a bare version number; Debian names it after the thread model too.
foreach(folder "" /${triplet} /backward)
    string(APPEND CMAKE_CXX_FLAGS_INIT " -stdlib++-isystem ${gcc_root}/include/c++${folder}")
endforeach()
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${gcc_root} -B${gcc_root}")
endforeach()
