// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "EmulatorRoot.h"

#include <fcntl.h>
#include <glib.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <vector>

#include "SettingsStore.h"
#include "TvRoot.h"

namespace emulated_tv {

namespace fs = std::filesystem;

namespace {

// The folder that roots are made in when nobody names one.
fs::path homeOfRoots() {
    for (const char *variable : {"XDG_RUNTIME_DIR", "TMPDIR"}) {
        const char *home = g_getenv(variable);
        if (home != nullptr && access(home, W_OK | X_OK) == 0) {
            return home;
        }
    }
    return "/tmp";
}

std::string rootPrefix() {
    return "tv-emulator-" + std::to_string(getuid()) + "-";
}

fs::path makeFolder(const fs::path &prefix) {
    std::string name = prefix.string() + "XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "cannot make the folder " + name);
    }
    return name;
}

fs::path lockFile(const fs::path &root) {
    return root / "lock";
}

struct flock wholeFile() {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

bool isRunning(const fs::path &root) {
    const support::FileDescriptor file(open(lockFile(root).c_str(), O_RDWR | O_CLOEXEC));
    struct flock lock = wholeFile();
    return file && fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

std::vector<fs::path> runningRoots() {
    std::vector<fs::path> roots;
    std::error_code error;
    for (const fs::directory_entry &entry : fs::directory_iterator(homeOfRoots(), error)) {
        const std::string name = entry.path().filename();
        if (name.rfind(rootPrefix(), 0) == 0 && isRunning(entry.path())) {
            roots.push_back(entry.path());
        }
    }
    return roots;
}

fs::path onlyRunningRoot() {
    const std::vector<fs::path> roots = runningRoots();
    if (roots.empty()) {
        throw std::runtime_error(
            "no emulated TV is running; start one with \"tv-emulator run\", or name its folder "
            "with --root");
    }
    if (roots.size() > 1) {
        std::string names;
        for (const fs::path &root : roots) {
            names += " " + root.string();
        }
        throw std::runtime_error("several emulated TVs are running; choose one with --root:" +
                                 names);
    }
    return roots.front();
}

// What others still remove or add in a folder makes an attempt fail.
void removeForGood(const fs::path &path) {
    constexpr int attempts = 5;
    std::error_code error;
    for (int attempt = 0; attempt < attempts && fs::exists(path, error); ++attempt) {
        fs::remove_all(path, error);
    }
}

}  // namespace

support::FileDescriptor lockRoot(const fs::path &root) {
    support::FileDescriptor file(open(lockFile(root).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!file) {
        throw std::system_error(errno, std::generic_category(), "cannot use " + root.string());
    }
    struct flock lock = wholeFile();
    if (fcntl(file.get(), F_OFD_SETLK, &lock) != 0) {
        throw std::runtime_error("an emulated TV is running in " + root.string() + " already");
    }
    return file;
}

fs::path busAddressFile(const fs::path &root) {
    return root / "bus-address";
}

std::string findBusAddress(const std::optional<fs::path> &root) {
    auto found = root ? root : tvRootFromEnvironment();
    if (!found) {
        found = onlyRunningRoot();
    }
    const auto address = readFile(busAddressFile(*found));
    if (!address || !isRunning(*found)) {
        throw std::runtime_error("no emulated TV is running in " + found->string());
    }
    return *address;
}

void RootPlaces::clear() const {
    if (isTemporary) {
        removeForGood(root);
    } else {
        removeForGood(busConfiguration());
        removeForGood(busPolicy());
        removeForGood(socket);
    }
    if (socket.parent_path() != root) {
        removeForGood(socket.parent_path());
    }
}

EmulatorRoot::EmulatorRoot(const std::optional<fs::path> &folder) {
    if (folder) {
        fs::create_directories(*folder);
    }
    m_places.root = fs::canonical(folder ? *folder : makeFolder(homeOfRoots() / rootPrefix()));
    m_places.isTemporary = !folder;
    m_lock = lockRoot(m_places.root);
    m_places.socket = m_places.root / "bus";
    if (m_places.socket.native().size() >= sizeof(sockaddr_un::sun_path)) {
        m_places.socket = makeFolder("/tmp/tv-bus-") / "bus";
    }
}

EmulatorRoot::~EmulatorRoot() {
    m_places.clear();
}

}  // namespace emulated_tv
