// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <clocale>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "CommandLine.h"

int main(int argc, char **argv) {
    // The table of sources is in UTF-8 whatever the user's locale.
    std::setlocale(LC_CTYPE, "C.UTF-8");
    try {
        return emulated_tv::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::runtime_error &error) {
        std::cerr << "tv-emulator: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
