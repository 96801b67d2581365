// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The TV's remote hand: how the second shell's commands reach a running emulator. It has a bus
// name of its own, so that the source service's stays exactly as clients know it.
#ifndef EMULATED_TV_CONTROL_H
#define EMULATED_TV_CONTROL_H

#include <cstdint>
#include <optional>
#include <string>

#include "BusConnection.h"
#include "EmulatedTv.h"
#include "Fault.h"
#include "SourceModel.h"

namespace emulated_tv {

// The object on the bus.
class Control {
 public:
    // Both must outlive the object. Throws std::runtime_error when the bus already has one.
    Control(GDBusConnection *connection, EmulatedTv &tv);

 private:
    void answer(const std::string &method, GVariant *arguments, GDBusMethodInvocation *invocation);
    void carryOut(const std::string &method, GVariant *arguments);

    EmulatedTv &m_tv;
    support::ExportedObject m_object;
    support::OwnedName m_name;
};

// The other end. What the TV refuses is thrown as std::runtime_error with the TV's own words.
class RemoteControl {
 public:
    explicit RemoteControl(const std::string &busAddress);

    SourceModel sources() const;
    void plug(const std::string &source, const std::optional<std::string> &name,
              std::optional<std::uint32_t> deviceType) const;
    void unplug(const std::string &source) const;
    void rename(const std::string &source, const std::string &name) const;
    void setPower(const std::string &source, bool on) const;
    void fault(const FaultOrder &order) const;

 private:
    support::Variant call(const char *method, GVariant *arguments) const;

    support::Connection m_connection;
};

}  // namespace emulated_tv

#endif
