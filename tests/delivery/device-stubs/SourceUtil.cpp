// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Platform.h"

std::string CSourceUtil::GetLagacySourceType(int sourceType) {
    return "device text " + std::to_string(sourceType);
}
