// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_FAILURE_H
#define SOURCECTL_FAILURE_H

#include <stdexcept>

// Why a command could not be done: one line for the user.
class Failure : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

#endif
