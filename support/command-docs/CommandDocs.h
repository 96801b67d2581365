// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What is made from a program's command line as the parser knows it, so that --help, the manual
// page and the shells' completions cannot disagree.
#ifndef SOURCE_API_COMMAND_DOCS_H
#define SOURCE_API_COMMAND_DOCS_H

#include <CLI/CLI.hpp>
#include <ostream>
#include <string>
#include <vector>

// One way to give a program a value.
struct DocumentedOption {
    std::vector<std::string> names;  // with their dashes; of a positional, what stands for it
    bool isPositional;
    bool isRequired;
    bool takesValue;
    std::string valueName;             // such as PATH
    std::vector<std::string> choices;  // every value that it takes, empty when there are too many
    std::string description;           // in one line
};

// What `command` takes, what falls through to its program included; what is hidden is not among
// it.
std::vector<DocumentedOption> optionsOf(const CLI::App &command);

std::vector<const CLI::App *> commandsOf(const CLI::App &program);

void writeManualPage(std::ostream &out, const CLI::App &program);
void writeBashCompletion(std::ostream &out, const CLI::App &program);
void writeZshCompletion(std::ostream &out, const CLI::App &program);

// The main function of a program that writes one of them: man, bash or zsh.
int documentCommandLine(const CLI::App &program, int argc, const char *const *argv);

#endif
