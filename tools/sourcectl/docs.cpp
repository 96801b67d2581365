// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandDocs.h"
#include "CommandLine.h"

int main(int argc, char **argv) {
    int result = EXIT_FAILURE;
    sourcectl::showCommandLine(
        [&](const CLI::App &app) { result = support::documentCommandLine(app, argc, argv); });
    return result;
}
