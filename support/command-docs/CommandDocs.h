// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// Manual pages and shell completions, generated from the definition of a program's command line so
// that they agree with --help.
#ifndef SUPPORT_COMMAND_DOCS_H
#define SUPPORT_COMMAND_DOCS_H

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <vector>

namespace support {

// An option or a positional argument.
struct DocumentedOption {
    std::vector<std::string> names;  // with dashes; the placeholder of a positional argument
    bool isPositional;
    bool isRequired;
    bool takesValue;
    std::string valueName;             // for example PATH
    std::vector<std::string> choices;  // the allowed values; empty if any value is allowed
    std::string description;           // on one line
};

// The visible options of `command`, including those of its program that it accepts.
std::vector<DocumentedOption> optionsOf(const CLI::App &command);

std::vector<const CLI::App *> commandsOf(const CLI::App &program);

void writeManualPage(std::ostream &out, const CLI::App &program);
void writeBashCompletion(std::ostream &out, const CLI::App &program);
void writeZshCompletion(std::ostream &out, const CLI::App &program);

// The main function of a generator, whose argument is man, bash or zsh.
int documentCommandLine(const CLI::App &program, int argc, const char *const *argv);

}  // namespace support

#endif
