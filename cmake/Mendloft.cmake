# How our own targets are compiled and linked, in one place.

add_library(mendloft_options INTERFACE)
target_compile_definitions(mendloft_options INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601
    # The extraction callbacks may throw, so the COM macros must not promise otherwise.
    COM_STDMETHOD_CAN_THROW
    $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

if(MSVC)
    target_compile_options(mendloft_options INTERFACE /W4 /WX /permissive- /utf-8)
else()
    target_compile_options(mendloft_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror)
    # Nothing of the compiler's runtime is left for the host to provide.
    target_link_options(mendloft_options INTERFACE -static)
    # The same sources give the same bytes, wherever and whenever they are built.
    add_compile_options("-ffile-prefix-map=${CMAKE_SOURCE_DIR}=." "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
    add_link_options(-Wl,--no-insert-timestamp)
endif()

if(MENDLOFT_UBSAN)
    target_compile_options(mendloft_options INTERFACE -fsanitize=undefined -fsanitize-undefined-trap-on-error)
endif()

# Options of what lies under src/ only.
add_library(mendloft_product_options INTERFACE)
target_link_libraries(mendloft_product_options INTERFACE mendloft_options)
if(MENDLOFT_COVERAGE)
    target_compile_options(mendloft_product_options INTERFACE --coverage)
    target_link_options(mendloft_options INTERFACE --coverage)
endif()
