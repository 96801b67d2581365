// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "ReadinessEvent.h"

#include <poll.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>

#include "SettingsStore.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// Watches a folder for new files.
class FolderWatch {
 public:
    explicit FolderWatch(const std::filesystem::path &folder)
        : m_fd(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        m_watches = m_fd >= 0 && inotify_add_watch(m_fd, folder.c_str(),
                                                   IN_CREATE | IN_MOVED_TO | IN_ONLYDIR) >= 0;
    }
    ~FolderWatch() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    FolderWatch(const FolderWatch &) = delete;
    FolderWatch &operator=(const FolderWatch &) = delete;

    // Returns true after a change, false if the deadline has passed or the folder is gone.
    bool waitUntil(Clock::time_point deadline) {
        while (m_watches) {
            const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
            if (left <= 0) {
                return false;
            }
            pollfd change = {m_fd, POLLIN, 0};
            const auto step = std::min<decltype(left)>(left, std::numeric_limits<int>::max());
            if (poll(&change, 1, static_cast<int>(step)) > 0) {
                return drain();
            }
        }
        return false;
    }

 private:
    bool drain() {
        alignas(inotify_event) std::array<char, 4096> events;
        ssize_t size = 0;
        while ((size = read(m_fd, events.data(), events.size())) > 0) {
            for (const char *next = events.data(); next < events.data() + size;) {
                const auto *event = reinterpret_cast<const inotify_event *>(next);
                m_watches = m_watches && (event->mask & IN_IGNORED) == 0;
                next += sizeof(inotify_event) + event->len;
            }
        }
        return m_watches;
    }

    int m_fd;
    bool m_watches = false;
};

}  // namespace

ReadinessEvent::ReadinessEvent(const std::filesystem::path &root, const std::string &name)
    : m_folder(root / "events"), m_file(m_folder / safeFileName(name)) {}

void ReadinessEvent::set() const {
    std::filesystem::create_directories(m_folder);
    replaceFile(m_file, "");
}

void ReadinessEvent::clear() const {
    std::filesystem::remove(m_file);
}

bool ReadinessEvent::wait(milliseconds timeout) const {
    if (isSet()) {
        return true;
    }
    // Makes a missing folder, so that it can be watched, but not a missing root.
    mkdir(m_folder.c_str(), 0700);
    const Clock::time_point now = Clock::now();
    const auto longest = std::chrono::duration_cast<milliseconds>(Clock::time_point::max() - now);
    const Clock::time_point deadline = now + std::min(timeout, longest);
    FolderWatch watch(m_folder);
    // Checked again after the watch has begun, in case the event was set in between.
    while (!isSet()) {
        if (!watch.waitUntil(deadline)) {
            return isSet();
        }
    }
    return true;
}

bool ReadinessEvent::isSet() const {
    return access(m_file.c_str(), F_OK) == 0;
}

}  // namespace emulated_tv
