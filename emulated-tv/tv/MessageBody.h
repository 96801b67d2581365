// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The bodies that answers and signals of the source service have.
#ifndef EMULATED_TV_MESSAGE_BODY_H
#define EMULATED_TV_MESSAGE_BODY_H

#include <gio/gio.h>

#include <string>

namespace emulated_tv {

// The plain body, as signals have it, too.
GVariant *messageBody(const std::string &text);

// The body in which a method answers: with a buffer that is none when it is asked with one.
GVariant *answerBody(const std::string &method, const std::string &text);

}  // namespace emulated_tv

#endif
