# Header-only libraries from Debian packages, which serve Windows programs as well. Debian installs the
# headers in the build machine's own include folder. The cross compiler must not search that folder for
# anything else, so each library is copied to a folder of its own.
#
#   mendloft_header_library(<target> <folder> <header> <Debian package>)
function(mendloft_header_library target folder header package)
    find_path(MENDLOFT_${target}_HEADERS "${folder}/${header}" PATHS /usr/include
              NO_CMAKE_FIND_ROOT_PATH DOC "The folder that contains ${folder}/${header}")
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
