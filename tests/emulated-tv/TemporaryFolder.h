// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_TEMPORARY_FOLDER_H
#define EMULATED_TV_TEMPORARY_FOLDER_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace emulated_tv {

// A folder that no other test uses, for as long as this lives.
class TemporaryFolder {
 public:
    TemporaryFolder() {
        std::string name = testing::TempDir() + "emulated-tv-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) {
            throw std::filesystem::filesystem_error(
                "mkdtemp", name, std::error_code(errno, std::generic_category()));
        }
        m_path = std::filesystem::canonical(name);
    }
    ~TemporaryFolder() {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    const std::filesystem::path &path() const { return m_path; }

 private:
    std::filesystem::path m_path;
};

}  // namespace emulated_tv

#endif
