// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SettingsStore.h"

#include <fcntl.h>
#include <glib.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "TvRoot.h"

namespace emulated_tv {

SettingsStore::SettingsStore(const std::filesystem::path &root) : m_folder(root / "settings") {}

std::optional<std::string> SettingsStore::get(const std::string &key) const {
    return readFile(fileOf(key));
}

void SettingsStore::set(const std::string &key, const std::string &value) const {
    std::filesystem::create_directories(m_folder);
    replaceFile(fileOf(key), value);
}

void SettingsStore::remove(const std::string &key) const {
    std::filesystem::remove(fileOf(key));
}

std::filesystem::path SettingsStore::fileOf(const std::string &key) const {
    return m_folder / safeFileName(key);
}

namespace {

bool writeAll(int descriptor, const std::string &content) {
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = write(descriptor, content.data() + written, content.size() - written);
        if (count < 0 && errno != EINTR) {
            return false;
        }
        written += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return fsync(descriptor) == 0;
}

}  // namespace

void replaceFile(const std::filesystem::path &file, const std::string &content) {
    std::string scratch = file.string() + ".XXXXXX";
    const int descriptor = g_mkstemp_full(scratch.data(), O_WRONLY | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), file.string());
    }
    bool done = writeAll(descriptor, content);
    int cause = errno;
    close(descriptor);
    if (done && std::rename(scratch.c_str(), file.c_str()) != 0) {
        done = false;
        cause = errno;
    }
    if (!done) {
        unlink(scratch.c_str());
        throw std::system_error(cause, std::generic_category(), file.string());
    }
}

std::optional<std::string> readFile(const std::filesystem::path &file) {
    g_autofree char *content = nullptr;
    gsize size = 0;
    if (g_file_get_contents(file.c_str(), &content, &size, nullptr) == FALSE) {
        return std::nullopt;
    }
    return std::string(content, size);
}

}  // namespace emulated_tv
