// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SERVICE_CHECK_ICONS_H
#define SERVICE_CHECK_ICONS_H

#include <array>

// The members of a request or an answer that hold a source's icons.
constexpr std::array iconMembers = {"SourceIconPath", "LauncherFocusedIconPath",
                                    "LauncherUnfocusedIconPath"};

#endif
