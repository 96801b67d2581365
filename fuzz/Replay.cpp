// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Runs a fuzzer once for each file of a folder.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "Fuzzing.h"

namespace {

std::vector<std::filesystem::path> filesOf(const char *folder) {
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void process(const std::filesystem::path &file) {
    std::ifstream stream(file, std::ios::binary);
    fuzz::require(stream.is_open(), "every input can be read");
    const std::vector<char> input{std::istreambuf_iterator<char>(stream), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.data()), input.size());
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const std::vector<std::filesystem::path> files = filesOf(argv[1]);
    for (const auto &file : files) {
        // Printed first, because a violated rule aborts the process.
        std::fprintf(stderr, "%s\n", file.filename().c_str());
        process(file);
    }
    std::printf("%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
