# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

# Where the installed files go, and how they find one another there.
set(SOURCE_API_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/source-api)
set(SOURCE_API_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/SourceAPI)
set(SOURCE_API_INSTALL_PKGCONFIG ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# source_api_install(...): install(), when SOURCE_API_INSTALL is on.
function(source_api_install)
    if(SOURCE_API_INSTALL)
        install(${ARGN})
    endif()
endfunction()

# A program finds the library by a path relative to its own: in the build folder, and in an
# installation that the loader does not know, also when that is moved. One path serves both, as
# CMake would otherwise reserve room for the longer by empty entries, which name the current
# directory to the loader.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
if(SOURCE_API_IS_TOP_LEVEL AND NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH libFromBin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/../lib $ORIGIN/${libFromBin})
    list(REMOVE_DUPLICATES CMAKE_INSTALL_RPATH)
    set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
endif()
