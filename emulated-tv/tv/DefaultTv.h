// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_DEFAULT_TV_H
#define EMULATED_TV_DEFAULT_TV_H

namespace emulated_tv {

// The TV as it comes out of the box, in the form of SourceModel::toJson.
extern const char *const defaultTv;

}  // namespace emulated_tv

#endif
