// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_EMULATOR_ROOT_H
#define EMULATED_TV_EMULATOR_ROOT_H

#include <filesystem>
#include <optional>
#include <string>

#include "FileDescriptor.h"

namespace emulated_tv {

// Marks a root as that of a running emulator for as long as the file stays open in any process.
// Throws std::runtime_error when another emulator runs there.
support::FileDescriptor lockRoot(const std::filesystem::path &root);

// Where the bus of the emulator that runs in a root is written down.
std::filesystem::path busAddressFile(const std::filesystem::path &root);

// The bus of the running emulator that is meant: that of the given root, else that of the root
// that the environment names, else the only one of this user. Throws std::runtime_error with a
// clear line when there is none, or more than one.
std::string findBusAddress(const std::optional<std::filesystem::path> &root);

// Where the parts of a launched emulator lie.
struct RootPlaces {
    std::filesystem::path root;
    // Where the bus listens: in the root, or elsewhere when that is too deep for a socket.
    std::filesystem::path socket;
    // A temporary root goes with the emulator.
    bool isTemporary = false;

    std::filesystem::path busConfiguration() const { return root / "bus.conf"; }
    std::filesystem::path busPolicy() const { return root / "bus-policy.conf"; }

    // Removes what is in nobody's way any more when the emulator has ended.
    void clear() const;
};

// The root of a launched emulator, locked, and cleared when this goes.
class EmulatorRoot {
 public:
    // The folder is made when it is missing, and kept; without one there is a fresh temporary one.
    // Throws std::runtime_error when it cannot be had.
    explicit EmulatorRoot(const std::optional<std::filesystem::path> &folder);
    ~EmulatorRoot();
    EmulatorRoot(const EmulatorRoot &) = delete;
    EmulatorRoot &operator=(const EmulatorRoot &) = delete;

    const RootPlaces &places() const { return m_places; }

 private:
    RootPlaces m_places;
    support::FileDescriptor m_lock;
};

}  // namespace emulated_tv

#endif
