# The licences of what is linked into the library and the tools, copied from where each was installed
# with the thing itself. THIRD-PARTY-NOTICES.md says what is what.
set(licence_dir "${doc_dir}/licences")

function(install_licence file name)
    if(NOT EXISTS "${file}")
        message(WARNING "A licence that has to go with the package is missing: ${file}. Do not give the package "
                        "away without it; name the file with -DMENDLOFT_..._LICENCE=<file>.")
        return()
    endif()
    get_filename_component(file "${file}" REALPATH)
    install(FILES "${file}" DESTINATION "${licence_dir}" RENAME "${name}")
endfunction()

install(FILES "${sevenzip_dir}/DOC/License.txt" DESTINATION "${licence_dir}" RENAME 7-Zip.txt)
install(FILES "${sevenzip_dir}/DOC/copying.txt" DESTINATION "${licence_dir}" RENAME LGPL-2.1.txt)

# Where Debian puts the others; on other systems name the files.
if(TARGET mendloftctl)
    set(MENDLOFT_CLI11_LICENCE /usr/share/doc/libcli11-dev/copyright CACHE FILEPATH "The licence of CLI11")
    set(MENDLOFT_JSON_LICENCE /usr/share/doc/nlohmann-json3-dev/copyright CACHE FILEPATH
        "The licence of JSON for Modern C++")
    install_licence("${MENDLOFT_CLI11_LICENCE}" CLI11.txt)
    install_licence("${MENDLOFT_JSON_LICENCE}" nlohmann-json.txt)
endif()

if(MSVC)
    return() # Microsoft's runtime comes with a licence of its own, which is the builder's
endif()
set(MENDLOFT_GCC_LICENCE /usr/share/doc/gcc-mingw-w64-base/copyright CACHE FILEPATH
    "The licence of GCC's runtime libraries, with the runtime library exception")
set(MENDLOFT_GPL_LICENCE /usr/share/common-licenses/GPL-3 CACHE FILEPATH
    "The GNU General Public License, version 3, to which that exception belongs")
set(MENDLOFT_MINGW_LICENCE /usr/share/doc/mingw-w64-common/copyright CACHE FILEPATH
    "The licences of mingw-w64's runtime and of winpthreads")

install_licence("${MENDLOFT_GCC_LICENCE}" GCC-runtime.txt)
install_licence("${MENDLOFT_GPL_LICENCE}" GPL-3.0.txt)
install_licence("${MENDLOFT_MINGW_LICENCE}" mingw-w64-runtime.txt)
