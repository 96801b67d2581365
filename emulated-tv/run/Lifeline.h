// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A pair of connected ends between the launcher and the service. Each notices at once when the
// other has died, however that happened.
#ifndef EMULATED_TV_LIFELINE_H
#define EMULATED_TV_LIFELINE_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>

#include "EmulatorRoot.h"
#include "FileDescriptor.h"

namespace emulated_tv {

// The launcher's end and the service's. Throws std::system_error.
std::pair<support::FileDescriptor, support::FileDescriptor> makeLifeline();

// The service tells where the emulator's parts are to lie. Reading is empty when it died instead.
void sayPlaces(int serviceEnd, const RootPlaces &places);
std::optional<RootPlaces> readPlaces(int launcherEnd);

// The launcher tells where the bus is. Reading is empty when the launcher has died.
void sayBusAddress(int launcherEnd, const std::string &address);
std::optional<std::string> readBusAddress(int serviceEnd);

// The service tells that it answers requests. Reading is false when it died instead.
void sayReady(int serviceEnd);
bool readReady(int launcherEnd);

// The launcher's side tells which process group the command runs in, 0 for none; safe after a
// fork. Reading is empty when the launcher has died.
void sayGroup(int launcherEnd, pid_t group);
std::optional<pid_t> readGroup(int serviceEnd);

}  // namespace emulated_tv

#endif
