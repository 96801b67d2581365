// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_TABLE_H
#define EMULATED_TV_SOURCE_TABLE_H

#include <string>

#include "SourceModel.h"

namespace emulated_tv {

// The sources as a table for people, the one that the TV shows marked with "*".
std::string sourceTable(const SourceModel &model);

}  // namespace emulated_tv

#endif
