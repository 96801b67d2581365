// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Replies of the source service, right and faulty.
#ifndef EMULATED_TV_REPLIES_H
#define EMULATED_TV_REPLIES_H

#include <chrono>
#include <list>
#include <string>

#include "Faults.h"
#include "GLibOwners.h"
#include "Timer.h"

namespace emulated_tv {

// The body of signals and of replies to SendMessage.
GVariant *plainBody(const std::string &text);

// The body of a reply to the method; SendMessageWithBuffer's has an empty buffer.
GVariant *replyBody(const std::string &method, const std::string &text);

// Replies with a fault that affects replies, but not Late. The text is that of the right reply.
// Takes ownership of the invocation.
void replyWithFault(FaultKind kind, const std::string &text, GDBusMethodInvocation *invocation);

// Sends replies later. Those pending at destruction are never sent.
class DelayedReplies {
 public:
    // Takes ownership of the invocation and of a floating body.
    void send(std::chrono::milliseconds delay, GDBusMethodInvocation *invocation, GVariant *body);

 private:
    struct Reply {
        support::Owner<GDBusMethodInvocation> invocation;
        support::Variant body;
        support::Timer timer;
    };
    std::list<Reply> m_replies;
};

}  // namespace emulated_tv

#endif
