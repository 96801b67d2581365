# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

set(SOURCE_API_ZSH_FUNCTIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
    "Where zsh looks for the functions of installed packages")
set(SOURCE_API_NATIVE_BUILD "" CACHE PATH
    "When cross-compiling: a build folder of this machine, to take the manual pages and completions from")

if(SOURCE_API_BUILD_DOCS AND CMAKE_CROSSCOMPILING AND NOT SOURCE_API_NATIVE_BUILD
   AND (SOURCE_API_BUILD_TOOLS OR SOURCE_API_BUILD_EMULATED_TV))
    source_api_leave_out("manual pages and completions of the commands"
        "programs for ${CMAKE_SYSTEM_PROCESSOR} write them; SOURCE_API_NATIVE_BUILD may name a build for this machine")
endif()

# source_api_document_command(PROGRAM GENERATOR): has the manual page and the completions of a
# program written by GENERATOR into the build folder's share/, and installs them. No program for
# another machine is run: the files are then those of SOURCE_API_NATIVE_BUILD.
function(source_api_document_command program generator)
    set(share ${PROJECT_BINARY_DIR}/share)
    if(CMAKE_CROSSCOMPILING)
        set(share ${SOURCE_API_NATIVE_BUILD}/share)
    endif()
    set(man ${share}/man/man1/${program}.1)
    set(bash ${share}/bash-completion/completions/${program})
    set(zsh ${share}/zsh/site-functions/_${program})
    if(NOT SOURCE_API_BUILD_DOCS OR CMAKE_CROSSCOMPILING)
        set_target_properties(${generator} PROPERTIES EXCLUDE_FROM_ALL ON)
    else()
        file(MAKE_DIRECTORY ${share}/man/man1 ${share}/bash-completion/completions
            ${share}/zsh/site-functions)
        add_custom_command(OUTPUT ${man} ${bash} ${zsh}
            COMMAND ${generator} man > ${man}
            COMMAND ${generator} bash > ${bash}
            COMMAND ${generator} zsh > ${zsh}
            DEPENDS ${generator}
            VERBATIM)
        add_custom_target(${program}-share ALL DEPENDS ${man} ${bash} ${zsh})
    endif()
    if(NOT SOURCE_API_BUILD_DOCS OR (CMAKE_CROSSCOMPILING AND NOT SOURCE_API_NATIVE_BUILD))
        return()
    endif()
    source_api_install(FILES ${man} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    source_api_install(FILES ${bash} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT tools)
    source_api_install(FILES ${zsh} DESTINATION ${SOURCE_API_ZSH_FUNCTIONS} COMPONENT tools)
endfunction()
