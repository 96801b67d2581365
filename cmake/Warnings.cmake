# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

# Every target of ours is compiled with the same warnings.
add_library(source-api-warnings INTERFACE)
target_compile_options(source-api-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    # C++20 allows a variadic macro without arguments; earlier clangs warn of it all the same.
    $<$<AND:$<CXX_COMPILER_ID:Clang>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,14>>:-Wno-gnu-zero-variadic-macro-arguments>
    $<$<BOOL:${SOURCE_API_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    # GCC notes each parameter that it passes differently from GCC before 7.1.
    target_compile_options(source-api-warnings INTERFACE -Wno-psabi)
endif()

# source_api_compile_quickly(TARGET...): for what is not shipped. No time is spent on optimisation,
# and line numbers are enough for a debugger; the preset debug has the rest.
function(source_api_compile_quickly)
    foreach(target IN LISTS ARGN)
        target_compile_options(${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O0;-g1>)
    endforeach()
endfunction()

# source_api_limit_glib(TARGET): warns of functions that are newer than GLib 2.56, the oldest
# supported version.
function(source_api_limit_glib target)
    target_compile_definitions(${target} PRIVATE
        GLIB_VERSION_MIN_REQUIRED=GLIB_VERSION_2_56 GLIB_VERSION_MAX_ALLOWED=GLIB_VERSION_2_56)
endfunction()
