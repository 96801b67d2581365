// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_TEMPORARY_FOLDER_H
#define TESTS_TEMPORARY_FOLDER_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

// A folder of the test's own, removed with its content at the end.
class TemporaryFolder {
 public:
    TemporaryFolder() {
        std::string name = testing::TempDir() + "source-api-test-XXXXXX";
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

#endif
