// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "EmulatedTv.h"

#include <utility>

#include "Refusal.h"

namespace emulated_tv {

EmulatedTv::EmulatedTv(std::string busAddress, const std::filesystem::path &root,
                       const std::optional<SourceModel> &sources)
    : m_busAddress(std::move(busAddress)), m_store(root, sources) {
    startService();
}

void EmulatedTv::plug(const std::string &source, const std::optional<std::string> &name,
                      std::optional<std::uint32_t> deviceType) {
    change(ListChange::Plugged, [&](SourceModel &model) { model.plug(source, name, deviceType); });
}

void EmulatedTv::unplug(const std::string &source) {
    change(ListChange::Unplugged, [&](SourceModel &model) { model.unplug(source); });
}

void EmulatedTv::rename(const std::string &source, const std::string &name) {
    change(ListChange::Described, [&](SourceModel &model) { model.rename(source, name); });
}

void EmulatedTv::setPower(const std::string &source, bool on) {
    change(ListChange::Power, [&](SourceModel &model) { model.setPower(source, on); });
}

void EmulatedTv::change(ListChange what, const std::function<void(SourceModel &)> &edit) {
    const auto announced = m_store.change(what, edit);
    if (announced && m_service) {
        m_service->announce(*announced);
    }
}

void EmulatedTv::emit(ListChange change) {
    requireService();
    m_service->announce(change);
}

void EmulatedTv::requireService() const {
    if (!m_service) {
        throw Refusal("the source service is dead; \"tv-emulator fault restart\" brings it back");
    }
}

void EmulatedTv::apply(const Fault &fault) {
    checkFault(fault);
    if (affectsReplies(fault.kind)) {
        m_faults.add(fault);
    } else if (fault.kind == FaultKind::Clear) {
        m_faults.clear();
        m_flood.stop();
    } else if (fault.kind == FaultKind::Restart) {
        if (m_service) {
            crash();
        }
        startService();
    } else if (fault.kind == FaultKind::Crash) {
        requireService();
        crash();
    } else {
        requireService();
        m_flood.start(*fault.count, fault.perSecond,
                      [this] { m_service->announce(ListChange::Described); });
    }
}

void EmulatedTv::startService() {
    m_serviceConnection = support::connectTo(m_busAddress);
    m_service.emplace(m_serviceConnection.get(), m_store, m_faults);
}

// Looks on the bus as if the service's process were killed: the connection is closed first, so that
// no name is released and no call replied to. Returns after the bus has noticed.
void EmulatedTv::crash() {
    m_flood.stop();
    const support::Connection observer = support::connectTo(m_busAddress);
    const std::string uniqueName = g_dbus_connection_get_unique_name(m_serviceConnection.get());
    g_dbus_connection_close_sync(m_serviceConnection.get(), nullptr, nullptr);
    m_service.reset();
    while (support::hasOwner(observer.get(), uniqueName)) {
    }
}

}  // namespace emulated_tv
