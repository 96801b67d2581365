// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "EmulatorRoot.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "ReadinessEvent.h"
#include "SettingsStore.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace fs = std::filesystem;
using support::FileDescriptor;

namespace {

bool canHoldSocket(const fs::path &folder) {
    return (folder / "bus").native().size() < sizeof(sockaddr_un::sun_path);
}

std::string temporaryPrefix() {
    return "tv-emulator-" + std::to_string(getuid()) + "-";
}

fs::path parentOfTemporaryFolders() {
    for (const char *variable : {"XDG_RUNTIME_DIR", "TMPDIR"}) {
        const char *folder = g_getenv(variable);
        if (folder != nullptr && access(folder, W_OK | X_OK) == 0) {
            fs::path parent = fs::canonical(folder);
            if (canHoldSocket(parent / (temporaryPrefix() + "XXXXXX"))) {
                return parent;
            }
        }
    }
    return "/tmp";
}

// Those of this user, in use or not.
std::vector<fs::path> temporaryFolders() {
    std::vector<fs::path> folders;
    std::error_code error;
    for (const fs::path &path : fs::directory_iterator(parentOfTemporaryFolders(), error)) {
        struct stat info = {};
        if (path.filename().native().rfind(temporaryPrefix(), 0) == 0 &&
            lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode) && info.st_uid == getuid()) {
            folders.push_back(path);
        }
    }
    return folders;
}

FileDescriptor openLockFile(const fs::path &folder, int flags) {
    return FileDescriptor(
        open((folder / "lock").c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600));
}

struct flock wholeFile() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

// Returns none and sets errno if that is impossible, to EAGAIN if another process has the lock.
FileDescriptor lockFolder(const fs::path &folder) {
    FileDescriptor file = openLockFile(folder, O_CREAT);
    struct flock lock = wholeFile();
    if (!file || fcntl(file.get(), F_OFD_SETLK, &lock) != 0) {
        return FileDescriptor();
    }
    struct stat info = {};
    if (fstat(file.get(), &info) != 0 || info.st_nlink == 0) {
        // Removed since it was opened, by a process that had the lock.
        errno = EAGAIN;
        return FileDescriptor();
    }
    return file;
}

bool isLocked(const fs::path &folder) {
    const FileDescriptor file = openLockFile(folder, 0);
    struct flock lock = wholeFile();
    return file && fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

void removeFolder(const fs::path &folder) {
    // A program that adds files meanwhile makes an attempt fail.
    constexpr int attempts = 5;
    std::error_code error;
    for (int attempt = 0; attempt < attempts && fs::exists(folder, error); ++attempt) {
        fs::remove_all(folder, error);
    }
}

fs::path busAddressFile(const fs::path &root) {
    return root / "bus-address";
}

// None if no emulator runs in the folder or its TV is not announced.
std::optional<std::string> announcedAddress(const fs::path &folder) {
    const auto address = readFile(busAddressFile(folder));
    return isLocked(folder) ? address : std::nullopt;
}

ReadinessEvent readiness(const fs::path &root) {
    return {root, "/tmp/source_service_ready"};
}

}  // namespace

std::string findBusAddress(const std::optional<fs::path> &root) {
    if (const auto chosen = root ? root : tvRootFromEnvironment()) {
        if (const auto address = announcedAddress(*chosen)) {
            return *address;
        }
        throw std::runtime_error("no emulated TV is running in " + chosen->string());
    }
    std::vector<std::string> addresses;
    std::string roots;
    for (const fs::path &folder : temporaryFolders()) {
        if (const auto address = announcedAddress(folder)) {
            addresses.push_back(*address);
            roots += " " + folder.string();
        }
    }
    if (addresses.empty()) {
        throw std::runtime_error(
            "no emulated TV is running; start one with \"tv-emulator run\", or name its folder "
            "with --root");
    }
    if (addresses.size() > 1) {
        throw std::runtime_error("several emulated TVs are running; choose one with --root:" +
                                 roots);
    }
    return addresses.front();
}

LockedFolder::LockedFolder() {
    const fs::path parent = parentOfTemporaryFolders();
    // Another emulator may take the new folder for an abandoned one until it is locked.
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts && !m_lock; ++attempt) {
        std::string name = parent / (temporaryPrefix() + "XXXXXX");
        if (mkdtemp(name.data()) == nullptr) {
            break;
        }
        m_path = name;
        m_lock = lockFolder(m_path);
    }
    if (!m_lock) {
        throw std::system_error(errno, std::generic_category(),
                                "cannot make a folder in " + parent.string());
    }
}

LockedFolder::~LockedFolder() {
    removeFolder(m_path);
}

EmulatorRoot::EmulatorRoot(const std::optional<fs::path> &folder) {
    for (const fs::path &temporary : temporaryFolders()) {
        if (const FileDescriptor lock = lockFolder(temporary)) {
            removeFolder(temporary);
        }
    }
    if (!folder) {
        m_path = m_temporary.emplace().path();
        return;
    }
    fs::create_directories(*folder);
    m_path = fs::canonical(*folder);
    m_lock = lockFolder(m_path);
    if (!m_lock && errno == EAGAIN) {
        throw std::runtime_error("an emulated TV is running in " + m_path.string() + " already");
    }
    if (!m_lock) {
        throw std::system_error(errno, std::generic_category(), "cannot use " + m_path.string());
    }
    withdraw();
}

fs::path EmulatorRoot::busSocket() {
    const bool isShort = canHoldSocket(m_path);
    return (isShort ? m_path : m_temporary.emplace().path()) / "bus";
}

void EmulatorRoot::announce(const std::string &busAddress) const {
    replaceFile(busAddressFile(m_path), busAddress);
    readiness(m_path).set();
}

void EmulatorRoot::withdraw() const {
    std::error_code error;
    fs::remove(busAddressFile(m_path), error);
    try {
        readiness(m_path).clear();
    } catch (const std::runtime_error &) {
        // Without a root there is no event either.
    }
}

}  // namespace emulated_tv
