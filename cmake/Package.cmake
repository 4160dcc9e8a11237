# The package for developers of hosts: `cmake --install` installs it, `cpack` makes a ZIP of the same files.
#
#   bin/                   the library, the installer tool in files/inf, the console program
#   include/, lib/         the header, an import library for each linker, CMake and pkg-config files
#   tools/                 mendloft-pack, for owners of genuine driver packages
#   share/doc/mendloft/    the docs, the examples, the licences of the code that is linked in, the bill
#                          of materials (SPDX) and the SHA-256 checksums of all files
#
# Included last, because the checksums cover the files that the other install rules have installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir "${CMAKE_CURRENT_LIST_DIR}/package")
set(doc_dir "${CMAKE_INSTALL_DATAROOTDIR}/doc/mendloft")
set(config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/mendloft")

install(TARGETS mendloft RUNTIME ARCHIVE)
install(FILES "${PROJECT_SOURCE_DIR}/include/mendloft/mendloft.h" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/mendloft")

install(PROGRAMS "${PROJECT_SOURCE_DIR}/tools/mendloft-pack" DESTINATION tools)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/tools/mendloft_pack" DESTINATION tools FILES_MATCHING PATTERN "*.py")

# The linker makes the import library for GNU linkers, libmendloft.dll.a. LLVM makes the other kind.
if(NOT MSVC)
    find_program(MENDLOFT_LLVM_DLLTOOL NAMES llvm-dlltool llvm-dlltool-14
                 DOC "LLVM's dlltool, which makes the import library for Visual Studio")
    if(MENDLOFT_LLVM_DLLTOOL)
        set(def "${PROJECT_SOURCE_DIR}/src/exports/libmendloft.def")
        set(msvc_import_library "${PROJECT_BINARY_DIR}/mendloft.lib")
        add_custom_command(OUTPUT "${msvc_import_library}"
            COMMAND "${MENDLOFT_LLVM_DLLTOOL}" -m i386 -d "${def}" -D libmendloft.dll -l "${msvc_import_library}"
            DEPENDS "${def}"
            COMMENT "Making the import library for Visual Studio"
            VERBATIM)
        add_custom_target(mendloft_msvc_import_library ALL DEPENDS "${msvc_import_library}")
        install(FILES "${msvc_import_library}" DESTINATION "${CMAKE_INSTALL_LIBDIR}")
    else()
        message(STATUS "No llvm-dlltool: the package will lack mendloft.lib, the import library for Visual Studio "
                       "(scripts/setup --extras, or: apt-get install llvm)")
    endif()
endif()

configure_package_config_file("${package_dir}/mendloft-config.cmake.in" "${PROJECT_BINARY_DIR}/mendloft-config.cmake"
    INSTALL_DESTINATION "${config_dir}"
    PATH_VARS CMAKE_INSTALL_BINDIR CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# The version file compares the size of pointers, so find_package() refuses 64-bit hosts.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/mendloft-config-version.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/mendloft-config.cmake" "${PROJECT_BINARY_DIR}/mendloft-config-version.cmake"
        DESTINATION "${config_dir}")

file(RELATIVE_PATH pc_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${package_dir}/mendloft.pc.in" "${PROJECT_BINARY_DIR}/mendloft.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/mendloft.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES "${PROJECT_SOURCE_DIR}/CHANGELOG.md" "${PROJECT_SOURCE_DIR}/THIRD-PARTY-NOTICES.md"
        DESTINATION "${doc_dir}")
foreach(document host-guide results security driver-archive inf-installer mendloftctl)
    install(FILES "${PROJECT_SOURCE_DIR}/docs/${document}.md" DESTINATION "${doc_dir}/docs")
endforeach()
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${doc_dir}")

include("${package_dir}/Licences.cmake")
include("${package_dir}/Describe.cmake")

set(CPACK_GENERATOR ZIP)
set(CPACK_SOURCE_GENERATOR "")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_PACKAGE_FILE_NAME "libmendloft-${PROJECT_VERSION}-win32")
set(CPACK_PACKAGE_CHECKSUM SHA256)
# CPack's own archives contain the time of packing and the user who packed them.
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_BINARY_DIR}/rewrite_zip.cmake")
include(CPack)
