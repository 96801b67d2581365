// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_EMULATOR_ROOT_H
#define EMULATED_TV_EMULATOR_ROOT_H

#include <filesystem>
#include <optional>
#include <string>

#include "FileDescriptor.h"

namespace emulated_tv {

// The bus address of a running emulator: that of the given root, else that of the root in
// SOURCE_TV_ROOT, else the only emulator of this user. Throws std::runtime_error with a line for
// the user if there is none, or more than one.
std::string findBusAddress(const std::optional<std::filesystem::path> &root);

// A new temporary folder, with a path short enough for a socket in it. It is removed by this object
// or, if the process was killed and the kernel has released the lock, by the next emulator.
class LockedFolder {
 public:
    LockedFolder();
    ~LockedFolder();
    LockedFolder(const LockedFolder &) = delete;
    LockedFolder &operator=(const LockedFolder &) = delete;

    const std::filesystem::path &path() const { return m_path; }

 private:
    std::filesystem::path m_path;
    support::FileDescriptor m_lock;
};

// The root of a running emulator.
class EmulatorRoot {
 public:
    // Makes the folder if it is missing; without one the root is a temporary folder. Removes what
    // killed emulators left: temporary folders, and the root's bus address and readiness event.
    // Throws std::runtime_error if the root cannot be used or another emulator runs there.
    explicit EmulatorRoot(const std::optional<std::filesystem::path> &folder);

    const std::filesystem::path &path() const { return m_path; }
    // In a temporary folder if the root's path is too long for a socket address.
    std::filesystem::path busSocket();

    // Writes the bus address and sets the readiness event, for clients that wait for the TV.
    void announce(const std::string &busAddress) const;
    void withdraw() const;

 private:
    // The root itself, or the folder of its socket.
    std::optional<LockedFolder> m_temporary;
    std::filesystem::path m_path;
    support::FileDescriptor m_lock;
};

}  // namespace emulated_tv

#endif
