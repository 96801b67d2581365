// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The rules for a plain endpoint pointer that several threads read while one may take it away:
// the last user deletes the endpoint, and nobody waits for anybody.
#ifndef SOURCE_API_SHARED_ENDPOINT_H
#define SOURCE_API_SHARED_ENDPOINT_H

#include <memory>

#include "SourceTCServer.h"

// Keeps the endpoint that `slot` points to alive for its own lifetime. Empty when there is none.
class EndpointUse {
 public:
    explicit EndpointUse(SourceTCServer *&slot);
    ~EndpointUse();
    EndpointUse(const EndpointUse &) = delete;
    EndpointUse &operator=(const EndpointUse &) = delete;

    explicit operator bool() const { return m_endpoint != nullptr; }
    SourceTCServer *operator->() const { return m_endpoint; }

 private:
    SourceTCServer *m_endpoint;
};

// Hands `endpoint` over to an empty `slot`. False, and the caller keeps it, when another thread
// came first.
bool publishEndpoint(SourceTCServer *&slot, std::unique_ptr<SourceTCServer> &endpoint);

// Empties `slot` and deletes what it pointed to, at once or when its last user is done.
void retireEndpoint(SourceTCServer *&slot);

#endif
