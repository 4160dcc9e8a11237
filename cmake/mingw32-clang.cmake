# Clang for 32-bit Windows, with the headers, the runtime and the linker of GCC's mingw-w64.
set(triplet i686-w64-mingw32)
find_program(MENDLOFT_MINGW_GCC ${triplet}-g++-posix REQUIRED)
set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
include("${CMAKE_CURRENT_LIST_DIR}/mingw32.cmake")
set(CMAKE_C_COMPILER_TARGET ${triplet})
set(CMAKE_CXX_COMPILER_TARGET ${triplet})

# Clang expects GCC's folder to be named after the version alone. On Debian the name also contains the
# thread model.
execute_process(COMMAND ${MENDLOFT_MINGW_GCC} -print-libgcc-file-name
                OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(gcc_folder "${libgcc}" DIRECTORY)
set(CMAKE_CXX_FLAGS_INIT "")
foreach(folder "" /${triplet} /backward)
    string(APPEND CMAKE_CXX_FLAGS_INIT " -stdlib++-isystem ${gcc_folder}/include/c++${folder}")
endforeach()
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${gcc_folder} -B${gcc_folder}")
endforeach()
set(CMAKE_CXX_STANDARD_LIBRARIES "-lstdc++ -lgcc_eh -lgcc -lpthread -lmingw32 -lmoldname -lmingwex -lmsvcrt -lkernel32")
set(CMAKE_C_STANDARD_LIBRARIES "-lgcc -lmingw32 -lmoldname -lmingwex -lmsvcrt -lkernel32")
