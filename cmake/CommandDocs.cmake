# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

set(SOURCE_API_ZSH_FUNCTIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
    "Where zsh looks for the functions of installed packages")
set(SOURCE_API_NATIVE_BUILD "" CACHE PATH
    "When building for a TV or another machine: a build for this machine, to take the manual pages and completions from")

# Generators write these files, and those built for another target may not run here.
set(SOURCE_API_RUNS_HERE ON)
if(CMAKE_CROSSCOMPILING OR SOURCE_API_PLATFORM STREQUAL "device")
    set(SOURCE_API_RUNS_HERE OFF)
endif()
if(SOURCE_API_BUILD_DOCS AND NOT SOURCE_API_RUNS_HERE AND NOT SOURCE_API_NATIVE_BUILD
   AND (SOURCE_API_BUILD_TOOLS OR SOURCE_API_BUILD_EMULATED_TV))
    source_api_leave_out("manual pages and completions of the commands"
        "programs of the target write them; SOURCE_API_NATIVE_BUILD may name a build for this machine")
endif()

# source_api_document_command(PROGRAM GENERATOR): lets GENERATOR write the manual page and the
# completions of a program into the build folder's share/, and installs them.
function(source_api_document_command program generator)
    set(share ${PROJECT_BINARY_DIR}/share)
    if(NOT SOURCE_API_RUNS_HERE)
        set(share ${SOURCE_API_NATIVE_BUILD}/share)
    endif()
    set(man ${share}/man/man1/${program}.1)
    set(bash ${share}/bash-completion/completions/${program})
    set(zsh ${share}/zsh/site-functions/_${program})
    source_api_compile_quickly(${generator})
    if(SOURCE_API_BUILD_DOCS AND SOURCE_API_RUNS_HERE)
        file(MAKE_DIRECTORY ${share}/man/man1 ${share}/bash-completion/completions
            ${share}/zsh/site-functions)
        add_custom_command(OUTPUT ${man} ${bash} ${zsh}
            COMMAND ${generator} man > ${man}
            COMMAND ${generator} bash > ${bash}
            COMMAND ${generator} zsh > ${zsh}
            DEPENDS ${generator}
            VERBATIM)
        add_custom_target(${program}-share ALL DEPENDS ${man} ${bash} ${zsh})
    else()
        set_target_properties(${generator} PROPERTIES EXCLUDE_FROM_ALL ON)
    endif()
    if(NOT SOURCE_API_BUILD_DOCS OR NOT SOURCE_API_RUNS_HERE AND NOT SOURCE_API_NATIVE_BUILD)
        return()
    endif()
    source_api_install(FILES ${man} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    source_api_install(FILES ${bash} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT tools)
    source_api_install(FILES ${zsh} DESTINATION ${SOURCE_API_ZSH_FUNCTIONS} COMPONENT tools)
endfunction()
