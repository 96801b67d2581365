// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SharedEndpoint.h"

#include <map>

#include "Atomic.h"
#include "Mutex.h"

namespace {

struct Uses {
    unsigned int count = 0;
    bool retired = false;
};

Mutex usesMutex;

// The endpoints in use. Never destroyed: a request on another thread may still end after the
// process has begun to exit.
std::map<SourceTCServer *, Uses> &uses GUARDED_BY(usesMutex) =
    *new std::map<SourceTCServer *, Uses>;

}  // namespace

EndpointUse::EndpointUse(SourceTCServer *&slot) {
    const MutexLock lock(usesMutex);
    m_endpoint = atomicLoad(slot);
    if (m_endpoint != nullptr) {
        ++uses[m_endpoint].count;
    }
}

EndpointUse::~EndpointUse() {
    if (m_endpoint == nullptr) {
        return;
    }
    std::unique_ptr<SourceTCServer> dead;
    const MutexLock lock(usesMutex);
    const auto entry = uses.find(m_endpoint);
    if (--entry->second.count == 0) {
        if (entry->second.retired) {
            dead.reset(m_endpoint);
        }
        uses.erase(entry);
    }
}

bool publishEndpoint(SourceTCServer *&slot, std::unique_ptr<SourceTCServer> &endpoint) {
    const MutexLock lock(usesMutex);
    if (atomicLoad(slot) != nullptr) {
        return false;
    }
    atomicStore(slot, endpoint.release());
    return true;
}

void retireEndpoint(SourceTCServer *&slot) {
    std::unique_ptr<SourceTCServer> dead;
    const MutexLock lock(usesMutex);
    SourceTCServer *const endpoint = std::atomic_ref<SourceTCServer *>(slot).exchange(nullptr);
    const auto entry = uses.find(endpoint);
    if (entry != uses.end()) {
        entry->second.retired = true;
    } else {
        dead.reset(endpoint);
    }
}
