// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SERVE_H
#define EMULATED_TV_SERVE_H

#include <filesystem>
#include <optional>

#include "Scenario.h"

namespace emulated_tv {

// Serves on the system bus until interrupted or the bus goes away. Both functions give the
// process's exit code, and throw std::runtime_error when they cannot begin.
int serve(const std::filesystem::path &root);

// Serves for a launcher, which speaks at the other end of the lifeline: on its bus, in a root that
// is named or fresh, with what a scenario wants, and until it is told to end or the launcher has
// died. Then it sees to it that nothing of the emulator is left.
int serveForLauncher(int lifeline, const std::optional<std::filesystem::path> &root,
                     const std::optional<Scenario> &scenario);

}  // namespace emulated_tv

#endif
