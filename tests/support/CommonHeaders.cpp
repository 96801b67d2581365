// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Compiled for the precompiled headers that come with it; gmock_main has the rest of the program.
