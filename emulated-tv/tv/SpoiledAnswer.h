// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SPOILED_ANSWER_H
#define EMULATED_TV_SPOILED_ANSWER_H

#include <gio/gio.h>

#include <string>

#include "Fault.h"

namespace emulated_tv {

// True when a fault leaves the command undone.
bool leavesUndone(FaultKind kind);

// Answers a call, whose right answer would be `text`, as a fault other than Late wants it. Uses up
// the invocation.
void answerSpoiled(FaultKind kind, const std::string &text, GDBusMethodInvocation *invocation);

}  // namespace emulated_tv

#endif
