# 7-Zip's archive code, from its own source tree outside of this one: extraction only, with just the
# formats, the codecs and the hash function that the library needs.

set(MENDLOFT_7ZIP_SOURCE_DIR "" CACHE PATH "The unpacked source of 7-Zip (the folder that holds C and CPP)")
set(sevenzip_dir "${MENDLOFT_7ZIP_SOURCE_DIR}")
if(NOT sevenzip_dir)
    if(DEFINED ENV{MENDLOFT_CACHE_DIR})
        set(sevenzip_dir "$ENV{MENDLOFT_CACHE_DIR}/7zip")
    elseif(DEFINED ENV{XDG_CACHE_HOME})
        set(sevenzip_dir "$ENV{XDG_CACHE_HOME}/mendloft/7zip")
    else()
        set(sevenzip_dir "$ENV{HOME}/.cache/mendloft/7zip")
    endif()
endif()
if(NOT EXISTS "${sevenzip_dir}/CPP/7zip/Archive/IArchive.h")
    message(FATAL_ERROR "7-Zip's source is not at ${sevenzip_dir}: run scripts/setup, or name its folder "
                        "with -DMENDLOFT_7ZIP_SOURCE_DIR=<folder>")
endif()

file(STRINGS "${sevenzip_dir}/C/7zVersion.h" sevenzip_version REGEX "define +MY_VERSION_NUMBERS ")
string(REGEX MATCH "[0-9.]+" sevenzip_version "${sevenzip_version}")
message(STATUS "7-Zip ${sevenzip_version}: ${sevenzip_dir}")

function(sevenzip_files result folder extension)
    list(TRANSFORM ARGN PREPEND "${sevenzip_dir}/${folder}/")
    list(TRANSFORM ARGN APPEND ".${extension}")
    set(${result} ${${result}} ${ARGN} PARENT_SCOPE)
endfunction()

sevenzip_files(sources C c
    7zCrc 7zCrcOpt 7zStream Aes AesOpt Alloc Bcj2 Bra Bra86 CpuArch Delta Lzma2Dec Lzma2DecMt LzmaDec
    MtDec Ppmd8 Ppmd8Dec Ppmd8Enc Sha1 Sha1Opt Sha256 Sha256Opt SwapBytes Threads Xxh64 Xz XzCrc64
    XzCrc64Opt XzDec XzIn ZstdDec)
sevenzip_files(sources CPP/Common cpp
    CRC CrcReg IntToString MyString Sha1Prepare Sha256Prepare StringConvert StringToInt UTFConvert
    Wildcard XzCrc64Init)
sevenzip_files(sources CPP/Windows cpp
    PropVariant PropVariantUtils System TimeUtils)
sevenzip_files(sources CPP/7zip/Common cpp
    CWrappers CreateCoder FilterCoder InBuffer LimitedStreams MethodProps OutBuffer ProgressUtils
    PropId StreamBinder StreamObjects StreamUtils VirtThread)
sevenzip_files(sources CPP/7zip/Archive cpp
    ArchiveExports DllExports2 LzmaHandler XzHandler)
sevenzip_files(sources CPP/7zip/Archive/7z cpp
    7zDecode 7zExtract 7zHandler 7zIn 7zProperties 7zRegister)
sevenzip_files(sources CPP/7zip/Archive/Cab cpp
    CabBlockInStream CabHandler CabHeader CabIn CabRegister)
sevenzip_files(sources CPP/7zip/Archive/Common cpp
    CoderMixer2 DummyOutStream HandlerOut ItemNameUtils OutStreamWithCRC)
sevenzip_files(sources CPP/7zip/Compress cpp
    Bcj2Coder Bcj2Register BcjCoder BcjRegister BitlDecoder ByteSwap CodecExports CopyCoder
    CopyRegister Deflate64Register DeflateDecoder DeflateRegister DeltaFilter ImplodeDecoder
    LzOutWindow LzfseDecoder Lzma2Decoder Lzma2Register LzmaDecoder LzmaRegister LzxDecoder PpmdZip
    QuantumDecoder ShrinkDecoder XzDecoder ZstdDecoder)
sevenzip_files(sources CPP/7zip/Crypto cpp
    7zAes 7zAesRegister HmacSha1 MyAes MyAesReg Pbkdf2HmacSha1 RandGen WzAes ZipCrypto ZipStrong)
sevenzip_files(zip_sources CPP/7zip/Archive/Zip cpp
    ZipHandler ZipIn ZipItem ZipRegister)

# An object library. The linker would drop files from a static one when their only purpose is a static
# constructor that registers a format or a codec.
add_library(sevenzip OBJECT ${sources} ${zip_sources} "${CMAKE_CURRENT_LIST_DIR}/sevenzip/zip_update_stub.cpp")

# Z7_ST makes the coders, and with them the extraction callbacks, run on the caller's thread.
set(sevenzip_definitions Z7_EXTRACT_ONLY Z7_ST UNICODE _UNICODE)
target_compile_definitions(sevenzip PRIVATE ${sevenzip_definitions})
target_include_directories(sevenzip PRIVATE "${sevenzip_dir}/CPP")
target_compile_options(sevenzip PRIVATE $<IF:$<BOOL:${MSVC}>,/w,-w>)

# The header of the Zip reader uses two declarations that an extract-only build leaves out. Building
# these files without Z7_EXTRACT_ONLY would give their classes another layout than in all other files.
set(zip_shim "${CMAKE_CURRENT_LIST_DIR}/sevenzip/zip_shim.h")
set_source_files_properties(${zip_sources} "${CMAKE_CURRENT_LIST_DIR}/sevenzip/zip_update_stub.cpp" PROPERTIES
    COMPILE_OPTIONS "$<IF:$<BOOL:${MSVC}>,/FI,-include>;${zip_shim}"
    OBJECT_DEPENDS "${zip_shim}")

# The Quantum decoder does not free its window; a header gives it a destructor that does. The header is
# included in every source that sees the class.
set(quantum_shim "${CMAKE_CURRENT_LIST_DIR}/sevenzip/quantum_shim.h")
foreach(source IN LISTS sources zip_sources)
    file(STRINGS "${source}" quantum_includes REGEX "#include .*QuantumDecoder\\.h")
    if(quantum_includes)
        set_source_files_properties("${source}" PROPERTIES
            COMPILE_OPTIONS "$<IF:$<BOOL:${MSVC}>,/FI,-include>;${quantum_shim}"
            OBJECT_DEPENDS "${quantum_shim}")
    endif()
endforeach()

# The destructor must free what the decoder allocates, with the matching function and only once.
file(READ "${sevenzip_dir}/CPP/7zip/Compress/QuantumDecoder.cpp" quantum_source)
file(READ "${sevenzip_dir}/CPP/7zip/Compress/QuantumDecoder.h" quantum_header)
string(REGEX MATCHALL "[A-Za-z0-9_]*([Aa]lloc|[Ff]ree|new|delete) *[[(][^])]*." quantum_memory
       "${quantum_header}${quantum_source}")
if(NOT quantum_memory STREQUAL "MidFree(_win);MidAlloc(_winSize)")
    message(FATAL_ERROR "7-Zip's Quantum decoder handles its window in another way (${quantum_memory}): "
                        "compare it with ${quantum_shim}")
endif()

# The entry point of 7-Zip's own DLL gets another name, because the library has an entry point of its own.
set_source_files_properties("${sevenzip_dir}/CPP/7zip/Archive/DllExports2.cpp" PROPERTIES
    COMPILE_DEFINITIONS DllMain=SevenZipDllMain)

# Linking `sevenzip_objects` links every object file and the system libraries that they call.
add_library(sevenzip_objects INTERFACE)
target_sources(sevenzip_objects INTERFACE $<TARGET_OBJECTS:sevenzip>)
target_link_libraries(sevenzip_objects INTERFACE oleaut32 uuid user32)
target_include_directories(sevenzip_objects SYSTEM INTERFACE "${sevenzip_dir}/CPP")
