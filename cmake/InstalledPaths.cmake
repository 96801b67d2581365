# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

# Where the installed files go, and how they find one another there.
set(SOURCE_API_INSTALL_HEADERS ${CMAKE_INSTALL_INCLUDEDIR}/source-api)
set(SOURCE_API_INSTALL_CMAKE ${CMAKE_INSTALL_LIBDIR}/cmake/SourceAPI)
set(SOURCE_API_INSTALL_PKGCONFIG ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The loader knows the system's own folders. Anywhere else an installation finds itself, also when
# it is moved.
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH libFromBin /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set(CMAKE_INSTALL_RPATH $ORIGIN $ORIGIN/${libFromBin})
endif()
