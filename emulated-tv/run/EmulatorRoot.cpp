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

constexpr auto rootPrefix = "tv-emulator-";
constexpr auto socketPrefix = "tv-bus-";
// Short enough for a socket address.
constexpr auto parentOfSockets = "/tmp";

// The parent of temporary roots.
fs::path parentOfRoots() {
    for (const char *variable : {"XDG_RUNTIME_DIR", "TMPDIR"}) {
        const char *folder = g_getenv(variable);
        if (folder != nullptr && access(folder, W_OK | X_OK) == 0) {
            return folder;
        }
    }
    return "/tmp";
}

std::string userPrefix(const std::string &prefix) {
    return prefix + std::to_string(getuid()) + "-";
}

// The temporary folders of this user, in use or not.
std::vector<fs::path> temporaryFolders(const fs::path &parent, const std::string &prefix) {
    std::vector<fs::path> folders;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(parent, error)) {
        const std::string name = entry.path().filename();
        struct stat info = {};
        if (name.rfind(userPrefix(prefix), 0) == 0 && lstat(entry.path().c_str(), &info) == 0 &&
            S_ISDIR(info.st_mode) && info.st_uid == getuid()) {
            folders.push_back(entry.path());
        }
    }
    return folders;
}

fs::path lockFile(const fs::path &folder) {
    return folder / "lock";
}

fs::path busAddressFile(const fs::path &root) {
    return root / "bus-address";
}

ReadinessEvent readiness(const fs::path &root) {
    return {root, "/tmp/source_service_ready"};
}

struct flock wholeFile() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

FileDescriptor openLockFile(const fs::path &folder) {
    constexpr int flags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW;
    return FileDescriptor(open(lockFile(folder).c_str(), flags, 0600));
}

// False if the file is locked by another process, or was removed since it was opened.
bool lock(const FileDescriptor &file) {
    struct flock whole = wholeFile();
    struct stat info = {};
    return fcntl(file.get(), F_OFD_SETLK, &whole) == 0 && fstat(file.get(), &info) == 0 &&
           info.st_nlink > 0;
}

bool isLocked(const fs::path &root) {
    const FileDescriptor file(open(lockFile(root).c_str(), O_RDWR | O_CLOEXEC));
    struct flock lock = wholeFile();
    return file && fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

fs::path onlyRunningRoot() {
    std::vector<fs::path> running;
    std::string names;
    for (const fs::path &root : temporaryFolders(parentOfRoots(), rootPrefix)) {
        if (isLocked(root)) {
            running.push_back(root);
            names += " " + root.string();
        }
    }
    if (running.empty()) {
        throw std::runtime_error(
            "no emulated TV is running; start one with \"tv-emulator run\", or name its folder "
            "with --root");
    }
    if (running.size() > 1) {
        throw std::runtime_error("several emulated TVs are running; choose one with --root:" +
                                 names);
    }
    return running.front();
}

void removeFile(const fs::path &file) {
    std::error_code error;
    fs::remove(file, error);
}

// A program that adds files meanwhile makes an attempt fail.
void removeFolder(const fs::path &folder) {
    constexpr int attempts = 5;
    std::error_code error;
    for (int attempt = 0; attempt < attempts && fs::exists(folder, error); ++attempt) {
        fs::remove_all(folder, error);
    }
}

void removeAbandonedFolders(const fs::path &parent, const std::string &prefix) {
    for (const fs::path &folder : temporaryFolders(parent, prefix)) {
        const FileDescriptor file = openLockFile(folder);
        if (lock(file)) {
            removeFolder(folder);
        }
    }
}

}  // namespace

std::string findBusAddress(const std::optional<fs::path> &root) {
    auto found = root ? root : tvRootFromEnvironment();
    if (!found) {
        found = onlyRunningRoot();
    }
    const auto address = readFile(busAddressFile(*found));
    if (!address || !isLocked(*found)) {
        throw std::runtime_error("no emulated TV is running in " + found->string());
    }
    return *address;
}

LockedFolder::LockedFolder(const fs::path &parent, const std::string &prefix) {
    // Another emulator may take the new folder for an abandoned one until it is locked.
    constexpr int attempts = 10;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        std::string name = fs::canonical(parent) / (userPrefix(prefix) + "XXXXXX");
        if (mkdtemp(name.data()) == nullptr) {
            break;
        }
        m_path = name;
        m_lock = openLockFile(m_path);
        if (lock(m_lock)) {
            return;
        }
    }
    throw std::system_error(errno, std::generic_category(),
                            "cannot make a folder in " + parent.string());
}

LockedFolder::~LockedFolder() {
    removeFolder(m_path);
}

EmulatorRoot::EmulatorRoot(const std::optional<fs::path> &folder) {
    removeAbandonedFolders(parentOfRoots(), rootPrefix);
    removeAbandonedFolders(parentOfSockets, socketPrefix);
    if (!folder) {
        m_path = m_temporary.emplace(parentOfRoots(), rootPrefix).path();
        return;
    }
    fs::create_directories(*folder);
    m_path = fs::canonical(*folder);
    m_lock = openLockFile(m_path);
    if (!m_lock) {
        throw std::system_error(errno, std::generic_category(), "cannot use " + m_path.string());
    }
    if (!lock(m_lock)) {
        throw std::runtime_error("an emulated TV is running in " + m_path.string() + " already");
    }
    withdraw();
}

fs::path EmulatorRoot::busSocket() {
    fs::path socket = m_path / "bus";
    if (socket.native().size() < sizeof(sockaddr_un::sun_path)) {
        return socket;
    }
    return m_socketFolder.emplace(parentOfSockets, socketPrefix).path() / "bus";
}

void EmulatorRoot::removeBusFiles() const {
    removeFile(busConfiguration());
    removeFile(busPolicy());
    removeFile(m_path / "bus");
}

void EmulatorRoot::announce(const std::string &busAddress) const {
    replaceFile(busAddressFile(m_path), busAddress);
    readiness(m_path).set();
}

void EmulatorRoot::withdraw() const {
    removeFile(busAddressFile(m_path));
    try {
        readiness(m_path).clear();
    } catch (const std::runtime_error &) {
        // Without a root there is no event either.
    }
}

}  // namespace emulated_tv
