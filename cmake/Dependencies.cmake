# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

# Finds the dependencies. Those of the library are required. If one of another component is missing,
# its option is set to OFF for this run, and a line says what was left out and why.

# source_api_leave_out(WHAT REASON)
function(source_api_leave_out what reason)
    message(STATUS "Left out: ${what} (${reason})")
endfunction()

# source_api_find_program(VARIABLE NAME WHAT): WHAT is left out without the program.
function(source_api_find_program variable name what)
    find_program(${variable} ${name})
    if(NOT ${variable})
        source_api_leave_out("${what}" "no ${name}")
    endif()
endfunction()

# Global, for the programs of another project to link.
find_package(PkgConfig REQUIRED)
pkg_check_modules(SOURCE_API_GIO REQUIRED IMPORTED_TARGET GLOBAL gio-2.0>=2.56 gio-unix-2.0)
pkg_check_modules(SOURCE_API_JSONCPP REQUIRED IMPORTED_TARGET GLOBAL jsoncpp)

if(SOURCE_API_BUILD_EMULATED_TV AND NOT SOURCE_API_PLATFORM STREQUAL "host")
    set(SOURCE_API_BUILD_EMULATED_TV OFF)
endif()
if(SOURCE_API_FUZZ)
    # The fuzzers use the support libraries of the tests.
    set(SOURCE_API_BUILD_TESTS ON)
elseif(SOURCE_API_BUILD_TESTS AND DEFINED BUILD_TESTING AND NOT BUILD_TESTING)
    set(SOURCE_API_BUILD_TESTS OFF)
endif()

if(SOURCE_API_BUILD_TOOLS OR SOURCE_API_BUILD_EMULATED_TV)
    find_package(CLI11 QUIET)
    if(NOT CLI11_FOUND)
        source_api_leave_out("sourcectl, service-check, the emulated TV" "no CLI11")
        set(SOURCE_API_BUILD_TOOLS OFF)
        set(SOURCE_API_BUILD_EMULATED_TV OFF)
    endif()
endif()
if(SOURCE_API_BUILD_TOOLS OR SOURCE_API_BUILD_EMULATED_TV)
    pkg_check_modules(SMARTCOLS QUIET IMPORTED_TARGET smartcols)
    if(NOT SMARTCOLS_FOUND)
        source_api_leave_out("sourcectl, the emulated TV" "no libsmartcols")
        set(SOURCE_API_BUILD_EMULATED_TV OFF)
    endif()
endif()

if(SOURCE_API_BUILD_TESTS)
    find_package(GTest QUIET CONFIG)
    find_program(DBUS_DAEMON dbus-daemon)
    if(NOT SOURCE_API_PLATFORM STREQUAL "host")
        source_api_leave_out("the tests" "they need the platform host")
        set(SOURCE_API_BUILD_TESTS OFF)
    elseif(NOT GTest_FOUND)
        source_api_leave_out("the tests" "no GTest")
        set(SOURCE_API_BUILD_TESTS OFF)
    elseif(NOT DBUS_DAEMON)
        source_api_leave_out("the tests" "no dbus-daemon")
        set(SOURCE_API_BUILD_TESTS OFF)
    endif()
endif()

set(SOURCE_API_BUILD_SUPPORT OFF)
if(SOURCE_API_BUILD_TOOLS OR SOURCE_API_BUILD_EMULATED_TV OR SOURCE_API_BUILD_TESTS
   OR SOURCE_API_BENCH)
    set(SOURCE_API_BUILD_SUPPORT ON)
    # Shorter names for the targets that are not exported to other projects.
    add_library(PkgConfig::GIO ALIAS PkgConfig::SOURCE_API_GIO)
    add_library(PkgConfig::JSONCPP ALIAS PkgConfig::SOURCE_API_JSONCPP)
endif()
