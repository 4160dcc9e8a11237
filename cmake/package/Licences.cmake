# Installs the licences of the code that is linked into the library and the tools. Each is copied from
# the place where the code itself was installed. THIRD-PARTY-NOTICES.md says what each covers.
set(licence_dir "${doc_dir}/licences")

function(install_licence file name)
    if(NOT EXISTS "${file}")
        message(WARNING "A licence that the package must contain is missing: ${file}. Do not distribute the "
                        "package without it; name the file with -DMENDLOFT_..._LICENCE=<file>.")
        return()
    endif()
    get_filename_component(file "${file}" REALPATH)
    install(FILES "${file}" DESTINATION "${licence_dir}" RENAME "${name}")
endfunction()

install(FILES "${sevenzip_dir}/DOC/License.txt" DESTINATION "${licence_dir}" RENAME 7-Zip.txt)
install(FILES "${sevenzip_dir}/DOC/copying.txt" DESTINATION "${licence_dir}" RENAME LGPL-2.1.txt)

# The places are those of Debian. On other systems, set these variables.
if(TARGET mendloftctl)
    set(MENDLOFT_CLI11_LICENCE /usr/share/doc/libcli11-dev/copyright CACHE FILEPATH "The licence of CLI11")
    set(MENDLOFT_JSON_LICENCE /usr/share/doc/nlohmann-json3-dev/copyright CACHE FILEPATH
        "The licence of JSON for Modern C++")
    install_licence("${MENDLOFT_CLI11_LICENCE}" CLI11.txt)
    install_licence("${MENDLOFT_JSON_LICENCE}" nlohmann-json.txt)
endif()

if(MSVC)
    return() # Microsoft licenses its runtime to whoever builds the package
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
