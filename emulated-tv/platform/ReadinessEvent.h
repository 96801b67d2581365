// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_READINESS_EVENT_H
#define EMULATED_TV_READINESS_EVENT_H

#include <chrono>
#include <filesystem>
#include <string>

namespace emulated_tv {

// A system event of the emulated TV: a file that is there once the event has happened. Any
// process may wait for it, from before the one that sets it starts.
class ReadinessEvent {
 public:
    ReadinessEvent(const std::filesystem::path &root, const std::string &name);

    // Both throw std::runtime_error (or a class derived from it) when they fail.
    void set() const;
    void clear() const;

    // True as soon as the event has happened, at once when it has already; false when the
    // time-out has passed, and at once when there is no such root or it cannot be watched.
    bool wait(std::chrono::milliseconds timeout) const;

 private:
    bool hasHappened() const;

    std::filesystem::path m_folder;
    std::filesystem::path m_file;
};

}  // namespace emulated_tv

#endif
