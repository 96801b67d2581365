// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Platform.h"

int main() {
    __dlog_print(0, 6, "SOURCE_API", "%s: %s(%d) > [%s:%d] one line\n", "LogOneLine.cpp", "main",
                 __LINE__, "main", __LINE__);
    return 0;
}
