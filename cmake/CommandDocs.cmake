# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

set(SOURCE_API_ZSH_FUNCTIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING
    "Where zsh looks for the functions of installed packages")

# source_api_document_command(PROGRAM GENERATOR): has the manual page and the completions of a
# program written by GENERATOR into the build folder's share/, and installs them.
function(source_api_document_command program generator)
    set(share ${PROJECT_BINARY_DIR}/share)
    set(man ${share}/man/man1/${program}.1)
    set(bash ${share}/bash-completion/completions/${program})
    set(zsh ${share}/zsh/site-functions/_${program})
    file(MAKE_DIRECTORY ${share}/man/man1 ${share}/bash-completion/completions
        ${share}/zsh/site-functions)
    add_custom_command(OUTPUT ${man} ${bash} ${zsh}
        COMMAND ${generator} man > ${man}
        COMMAND ${generator} bash > ${bash}
        COMMAND ${generator} zsh > ${zsh}
        DEPENDS ${generator}
        VERBATIM)
    add_custom_target(${program}-share ALL DEPENDS ${man} ${bash} ${zsh})
    install(FILES ${man} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
    install(FILES ${bash} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT tools)
    install(FILES ${zsh} DESTINATION ${SOURCE_API_ZSH_FUNCTIONS} COMPONENT tools)
endfunction()
