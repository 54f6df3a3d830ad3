# What every target of this build shares: the language, warnings, sanitizers, ccache.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

if(NOT CMAKE_CXX_COMPILER_LAUNCHER)
    find_program(CCACHE_PROGRAM ccache)
    if(CCACHE_PROGRAM)
        # Paths below the checkout count as relative: another checkout finds the same objects.
        set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
            CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
            CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
    endif()
endif()

# Linked PRIVATE by every target, so that the warnings never reach a client.
add_library(Warnings INTERFACE)
add_library(Tesk::Warnings ALIAS Warnings)
target_compile_options(Warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    # To this warning every included file is a header, where nothing may be anonymous.
    target_compile_options(Warnings INTERFACE -Wno-subobject-linkage)
endif()
target_compile_definitions(Warnings INTERFACE QT_NO_KEYWORDS)
# Reading these took most of a file's time. The lint builds without them.
target_precompile_headers(Warnings INTERFACE
    <QHash> <QObject> <QString> <QVariant>
    <functional> <map> <memory> <string> <unordered_map> <vector>)

if(FILTERBASE_SANITIZE)
    add_compile_options(-fsanitize=${FILTERBASE_SANITIZE} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${FILTERBASE_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # Instrumented, the default constructor of std::stop_source looks uninitialized.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()
