// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_EMULATED_TV_H
#define EMULATED_TV_EMULATED_TV_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "BusConnection.h"
#include "Faults.h"
#include "SourceService.h"
#include "SourceStore.h"

namespace emulated_tv {

// The TV: its sources, and the source service that shows them on the bus. The service has its own
// connection, so that it can crash and restart while the TV goes on. Changes of the sources while
// there is no service are saved but not announced. What cannot be done throws Refusal.
class EmulatedTv {
 public:
    // Throws std::runtime_error if the root cannot be used or the bus has a source service
    // already. Starts with the given sources, else with those saved in the root.
    EmulatedTv(std::string busAddress, const std::filesystem::path &root,
               const std::optional<SourceModel> &sources = std::nullopt);

    const SourceModel &model() const { return m_store.model(); }

    // Events at the TV. They are announced if they change the list.
    void plug(const std::string &source, const std::optional<std::string> &name,
              std::optional<std::uint32_t> deviceType);
    void unplug(const std::string &source);
    void rename(const std::string &source, const std::string &name);
    void setPower(const std::string &source, bool on);

    // Emits a change signal whether or not there was a change.
    void emit(ListChange change);
    void apply(const Fault &fault);

 private:
    void requireService() const;
    void change(ListChange what, const std::function<void(SourceModel &)> &edit);
    void startService();
    void crash();

    const std::string m_busAddress;
    SourceStore m_store;
    PendingFaults m_faults;
    SignalFlood m_flood;
    support::Connection m_serviceConnection;
    // Empty while the service is down.
    std::optional<SourceService> m_service;
};

}  // namespace emulated_tv

#endif
