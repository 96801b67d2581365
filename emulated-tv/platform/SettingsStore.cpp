// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SettingsStore.h"

#include <glib.h>

#include <stdexcept>

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

void replaceFile(const std::filesystem::path &file, const std::string &content) {
    constexpr auto how = static_cast<GFileSetContentsFlags>(G_FILE_SET_CONTENTS_CONSISTENT |
                                                            G_FILE_SET_CONTENTS_DURABLE);
    g_autoptr(GError) error = nullptr;
    if (g_file_set_contents_full(file.c_str(), content.data(), static_cast<gssize>(content.size()),
                                 how, 0600, &error) == FALSE) {
        throw std::runtime_error(error->message);
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
