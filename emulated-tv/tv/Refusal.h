// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_REFUSAL_H
#define EMULATED_TV_REFUSAL_H

#include <stdexcept>

namespace emulated_tv {

// What the TV was asked for cannot be done; the text says why, for the one who asked. Nothing has
// been changed.
class Refusal : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

}  // namespace emulated_tv

#endif
