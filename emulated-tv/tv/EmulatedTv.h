// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_EMULATED_TV_H
#define EMULATED_TV_EMULATED_TV_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "ArmedFaults.h"
#include "BusConnection.h"
#include "Fault.h"
#include "Flood.h"
#include "SourceService.h"
#include "SourceState.h"

namespace emulated_tv {

// The TV: its sources, and the source service that shows them on the bus. The service has a
// connection of its own, so that it can die and come back while the TV goes on; what happens to a
// source meanwhile is kept, and announced to nobody. What cannot be done throws Refusal.
class EmulatedTv {
 public:
    // Throws std::runtime_error when the root cannot be used or the bus has a service already.
    // Begins with the sources that are given, else with those that the root holds.
    EmulatedTv(std::string busAddress, const std::filesystem::path &root,
               const std::optional<SourceModel> &sources = std::nullopt);

    const SourceModel &model() const { return m_state.model(); }

    // What happens at the TV is announced when it changes the list.
    void plug(const std::string &source, const std::optional<std::string> &name,
              std::optional<std::uint32_t> deviceType);
    void unplug(const std::string &source);
    void rename(const std::string &source, const std::string &name);
    void setPower(const std::string &source, bool on);

    // Announces a change though there may be none.
    void emit(ListChange change);
    void fault(const FaultOrder &order);

 private:
    void requireService() const;
    void change(ListChange what, const std::function<void(SourceModel &)> &edit);
    void startService();
    void crash();

    const std::string m_busAddress;
    SourceState m_state;
    ArmedFaults m_faults;
    Flood m_flood;
    support::Connection m_serviceConnection;
    // Nothing while it is dead.
    std::optional<SourceService> m_service;
};

}  // namespace emulated_tv

#endif
