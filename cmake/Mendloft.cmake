# The compiler and linker options of our own targets.

add_library(mendloft_options INTERFACE)
target_compile_definitions(mendloft_options INTERFACE
    UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0601
    # The extraction callbacks may throw, so the COM macros must not declare them as non-throwing.
    COM_STDMETHOD_CAN_THROW
    $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)

if(MSVC)
    target_compile_options(mendloft_options INTERFACE /W4 /WX /permissive- /utf-8)
else()
    target_compile_options(mendloft_options INTERFACE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror)
    # The host does not have to provide any part of the compiler's runtime.
    target_link_options(mendloft_options INTERFACE -static)
    # The same sources give the same bytes, whatever the time and the folder of the build.
    add_compile_options("-ffile-prefix-map=${CMAKE_SOURCE_DIR}=." "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build")
    add_link_options(-Wl,--no-insert-timestamp)
endif()

if(MENDLOFT_UBSAN)
    target_compile_options(mendloft_options INTERFACE -fsanitize=undefined -fsanitize-undefined-trap-on-error)
endif()

# Options for src/ only.
add_library(mendloft_product_options INTERFACE)
target_link_libraries(mendloft_product_options INTERFACE mendloft_options)
if(MENDLOFT_COVERAGE)
    target_compile_options(mendloft_product_options INTERFACE --coverage)
    target_link_options(mendloft_options INTERFACE --coverage)
endif()
