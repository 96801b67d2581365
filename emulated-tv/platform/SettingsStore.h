// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SETTINGS_STORE_H
#define EMULATED_TV_SETTINGS_STORE_H

#include <filesystem>
#include <optional>
#include <string>

namespace emulated_tv {

// The emulated TV's settings: one file a key. Several processes may use one store at a time; a
// reader finds either the old value or the new one, whole.
class SettingsStore {
 public:
    explicit SettingsStore(const std::filesystem::path &root);

    // Empty when the key has no value or it cannot be read.
    std::optional<std::string> get(const std::string &key) const;

    // The value is on the disk when this returns. Throws std::runtime_error when it cannot be kept.
    void set(const std::string &key, const std::string &value) const;

    // Throws std::filesystem::filesystem_error when there is a value that cannot be removed.
    void remove(const std::string &key) const;

 private:
    std::filesystem::path fileOf(const std::string &key) const;

    std::filesystem::path m_folder;
};

// Replaces a file as a whole, readable by its owner only. Throws as SettingsStore::set does.
void replaceFile(const std::filesystem::path &file, const std::string &content);

// The content of a file, empty when it cannot be read.
std::optional<std::string> readFile(const std::filesystem::path &file);

}  // namespace emulated_tv

#endif
