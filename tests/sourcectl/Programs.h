// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The programs under test.
#ifndef TESTS_SOURCECTL_PROGRAMS_H
#define TESTS_SOURCECTL_PROGRAMS_H

#include <string>
#include <vector>

#include "ChildProgram.h"

using Words = Arguments;
using Outcome = ProgramResult;

// A whole command line.
Words sourcectlWith(const Words &arguments);
Words tvEmulatorWith(const Words &arguments);

Outcome run(const Words &commandLine, const ChildProgram::Environment &environment = {});

// On the bus of the test's own environment, without a TV.
Outcome sourcectl(const Words &arguments);

// A failure is told on standard error, in one line, and on standard output not at all.
void expectFailure(const Outcome &outcome, const std::string &line);

#endif
