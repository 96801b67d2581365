// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// service-check: tells a source service's maker whether applications can rely on it.
#include <cstdlib>
#include <iostream>

#include "Check.h"
#include "CommandLine.h"

namespace {

int failed(const char *reason) {
    std::cerr << "service-check: " << reason << std::endl;
    return exitUnreachable;
}

}  // namespace

int main(int argc, char **argv) {
    const Invocation invocation = readCommandLine(argc, argv);
    if (!invocation.options) {
        return invocation.exitCode;
    }
    Report report(std::cout, invocation.options->json);
    try {
        checkService(*invocation.options, report);
    } catch (const Unreachable &unreachable) {
        return failed(unreachable.what());
    } catch (const Interrupted &interrupted) {
        return 128 + interrupted.signal;
    }
    if (!report.finish()) {
        return failed("cannot write to standard output");
    }
    return report.count(Outcome::Broken) == 0 ? exitKept : exitBroken;
}
