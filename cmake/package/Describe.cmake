# describe.py writes the bill of materials and the checksums at installation, and puts the ZIP into its
# canonical form at packing.
find_package(Python3 3.10 REQUIRED COMPONENTS Interpreter)

file(STRINGS "${sevenzip_dir}/C/7zVersion.h" SEVENZIP_VERSION REGEX "define MY_VERSION_NUMBERS ")
string(REGEX REPLACE ".*\"(.*)\".*" "\\1" SEVENZIP_VERSION "${SEVENZIP_VERSION}")

if(TARGET mendloftctl)
    set(headers "${PROJECT_BINARY_DIR}/headers")
    file(STRINGS "${headers}/cli11/CLI/Version.hpp" CLI11_VERSION REGEX "define CLI11_VERSION \"")
    string(REGEX REPLACE ".*\"(.*)\".*" "\\1" CLI11_VERSION "${CLI11_VERSION}")
    file(GLOB_RECURSE json_headers "${headers}/nlohmann_json/*.hpp")
    foreach(header IN LISTS json_headers)
        foreach(part MAJOR MINOR PATCH)
            file(STRINGS "${header}" definition REGEX "define NLOHMANN_JSON_VERSION_${part} +[0-9]")
            if(definition MATCHES "_${part} +([0-9]+)")
                set(JSON_${part} ${CMAKE_MATCH_1})
            endif()
        endforeach()
    endforeach()
    set(JSON_VERSION ${JSON_MAJOR}.${JSON_MINOR}.${JSON_PATCH})
endif()

# The compiler's preprocessor knows the versions of the runtime libraries that it links.
set(GCC_RUNTIME_VERSION NOASSERTION)
set(MINGW_VERSION NOASSERTION)
if(NOT MSVC)
    separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_FLAGS}")
    if(CMAKE_CXX_COMPILER_TARGET)
        list(APPEND flags "--target=${CMAKE_CXX_COMPILER_TARGET}")
    endif()
    execute_process(
        COMMAND "${CMAKE_CXX_COMPILER}" ${flags} -E -P -x c++ "${package_dir}/runtime_versions.txt"
        OUTPUT_VARIABLE versions COMMAND_ERROR_IS_FATAL ANY)
    if(versions MATCHES "gcc: ([0-9]+)")
        set(GCC_RUNTIME_VERSION ${CMAKE_MATCH_1})
    endif()
    if(versions MATCHES "mingw: ([0-9]+) *[.] *([0-9]+) *[.] *([0-9]+)")
        set(MINGW_VERSION ${CMAKE_MATCH_1}.${CMAKE_MATCH_2}.${CMAKE_MATCH_3})
    endif()
endif()
configure_file("${package_dir}/components.json.in" "${PROJECT_BINARY_DIR}/components.json" @ONLY)

configure_file("${package_dir}/describe_installation.cmake.in" "${PROJECT_BINARY_DIR}/describe_installation.cmake" @ONLY)
configure_file("${package_dir}/rewrite_zip.cmake.in" "${PROJECT_BINARY_DIR}/rewrite_zip.cmake" @ONLY)
install(SCRIPT "${PROJECT_BINARY_DIR}/describe_installation.cmake")
