# Libraries that consist of headers and come with Debian, for programs that run on Windows all the same.
# Their headers lie in the build machine's own include folder, which must not be searched for anything
# else, so each library is copied into a folder of its own.
#
#   mendloft_header_library(<target> <folder> <header> <Debian package>)
function(mendloft_header_library target folder header package)
    find_path(MENDLOFT_${target}_HEADERS "${folder}/${header}" PATHS /usr/include
              NO_CMAKE_FIND_ROOT_PATH DOC "The folder that has ${folder}/${header} in it")
    if(NOT MENDLOFT_${target}_HEADERS)
        message(FATAL_ERROR "${folder}/${header} is missing; run scripts/setup, or: "
                            "apt-get install --no-install-recommends ${package}")
    endif()
    set(copy "${CMAKE_BINARY_DIR}/headers/${target}")
    file(COPY "${MENDLOFT_${target}_HEADERS}/${folder}" DESTINATION "${copy}")
    add_library(${target} INTERFACE)
    target_include_directories(${target} SYSTEM INTERFACE "${copy}")
endfunction()

mendloft_header_library(cli11 CLI CLI.hpp libcli11-dev)
mendloft_header_library(nlohmann_json nlohmann json.hpp nlohmann-json3-dev)
