# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

# Every target of ours is compiled with the same warnings.
add_library(source-api-warnings INTERFACE)
target_compile_options(source-api-warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    $<$<BOOL:${SOURCE_API_WERROR}>:-Werror>)
