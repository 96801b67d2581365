// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_LATE_ANSWERS_H
#define EMULATED_TV_LATE_ANSWERS_H

#include <chrono>
#include <list>

#include "BusConnection.h"
#include "Timer.h"

namespace emulated_tv {

// Answers that are kept back for a while. What is left when this goes is never answered.
class LateAnswers {
 public:
    // Uses up the invocation, and takes a floating body.
    void send(std::chrono::milliseconds delay, GDBusMethodInvocation *invocation, GVariant *body);

 private:
    struct Answer {
        support::Owner<GDBusMethodInvocation> invocation;
        support::Variant body;
        support::Timer timer;
    };
    std::list<Answer> m_answers;
};

}  // namespace emulated_tv

#endif
