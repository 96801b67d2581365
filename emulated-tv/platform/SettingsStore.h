// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SETTINGS_STORE_H
#define EMULATED_TV_SETTINGS_STORE_H

#include <filesystem>
#include <optional>
#include <string>

namespace emulated_tv {

// The emulated TV's settings, one file for each key. Processes may use a store concurrently: writes
// are atomic.
class SettingsStore {
 public:
    explicit SettingsStore(const std::filesystem::path &root);

    // Empty if the key has no value or it cannot be read.
    std::optional<std::string> get(const std::string &key) const;

    // Writes the value to disk. Throws std::runtime_error.
    void set(const std::string &key, const std::string &value) const;

    // Throws std::filesystem::filesystem_error if there is a value that cannot be removed.
    void remove(const std::string &key) const;

 private:
    std::filesystem::path fileOf(const std::string &key) const;

    std::filesystem::path m_folder;
};

// Replaces a file atomically, with mode 0600. Throws std::runtime_error.
void replaceFile(const std::filesystem::path &file, const std::string &content);

// The content of a file, empty if it cannot be read.
std::optional<std::string> readFile(const std::filesystem::path &file);

}  // namespace emulated_tv

#endif
