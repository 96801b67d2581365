// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "LateAnswers.h"

namespace emulated_tv {

void LateAnswers::send(std::chrono::milliseconds delay, GDBusMethodInvocation *invocation,
                       GVariant *body) {
    const auto answer = m_answers.emplace(m_answers.end());
    answer->invocation.reset(invocation);
    answer->body.reset(g_variant_ref_sink(body));
    answer->timer.start(delay, [this, answer] {
        g_dbus_method_invocation_return_value(answer->invocation.release(), answer->body.get());
        m_answers.erase(answer);
    });
}

}  // namespace emulated_tv
