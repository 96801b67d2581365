# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

if(SOURCE_API_FUZZ)
    set(SOURCE_API_SANITIZER fuzzer-no-link,address,undefined)
endif()

# A sanitizer applies to every target, so that the library, the emulated TV and the tests share one
# runtime.
if(SOURCE_API_SANITIZER)
    add_compile_options(-fsanitize=${SOURCE_API_SANITIZER} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${SOURCE_API_SANITIZER})
endif()
