// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The D-Bus interface with which commands in another shell change a running emulated TV. It has its
// own well-known name, so that the source service's interface remains that of a TV.
#ifndef EMULATED_TV_CONTROL_H
#define EMULATED_TV_CONTROL_H

#include <cstdint>
#include <optional>
#include <string>

#include "BusConnection.h"
#include "EmulatedTv.h"
#include "Faults.h"
#include "SourceModel.h"

namespace emulated_tv {

// The server side.
class Control {
 public:
    // Both arguments must outlive the object. Throws std::runtime_error if the name is taken.
    Control(GDBusConnection *connection, EmulatedTv &tv);

 private:
    void handle(const std::string &method, GVariant *arguments, GDBusMethodInvocation *invocation);
    void execute(const std::string &method, GVariant *arguments);

    EmulatedTv &m_tv;
    support::ExportedObject m_object;
    support::OwnedName m_name;
};

// The client side. A refusal of the TV is thrown as std::runtime_error with the TV's text.
class ControlClient {
 public:
    explicit ControlClient(const std::string &busAddress);

    SourceModel sources() const;
    void plug(const std::string &source, const std::optional<std::string> &name,
              std::optional<std::uint32_t> deviceType) const;
    void unplug(const std::string &source) const;
    void rename(const std::string &source, const std::string &name) const;
    void setPower(const std::string &source, bool on) const;
    void apply(const Fault &fault) const;

 private:
    support::Variant call(const char *method, GVariant *arguments) const;

    support::Connection m_connection;
};

}  // namespace emulated_tv

#endif
