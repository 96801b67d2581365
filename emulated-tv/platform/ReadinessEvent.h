// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_READINESS_EVENT_H
#define EMULATED_TV_READINESS_EVENT_H

#include <chrono>
#include <filesystem>
#include <string>

namespace emulated_tv {

// A system event of the emulated TV. It is set while its file exists. Any process may wait for it,
// also before the process that sets it has started.
class ReadinessEvent {
 public:
    ReadinessEvent(const std::filesystem::path &root, const std::string &name);

    // Throw std::runtime_error or a class derived from it.
    void set() const;
    void clear() const;

    // Returns true when the event is set, false after the time-out. Returns false immediately if
    // the root does not exist or cannot be watched.
    bool wait(std::chrono::milliseconds timeout) const;

 private:
    bool isSet() const;

    std::filesystem::path m_folder;
    std::filesystem::path m_file;
};

}  // namespace emulated_tv

#endif
