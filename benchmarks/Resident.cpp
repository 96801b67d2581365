// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Prints the resident size in KiB of a process that has only loaded its libraries.
#include <fstream>
#include <iostream>
#include <string>

int main() {
    std::ifstream rollup("/proc/self/smaps_rollup");
    std::string word;
    while (rollup >> word) {
        if (word == "Rss:") {
            long resident = 0;
            rollup >> resident;
            std::cout << resident << '\n';
            return 0;
        }
    }
    return 1;
}
