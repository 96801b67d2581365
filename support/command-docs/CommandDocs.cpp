// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandDocs.h"

#include <cstdlib>
#include <iostream>

namespace support {

namespace {

std::string withoutNewlines(std::string text) {
    for (char &character : text) {
        character = character == '\n' ? ' ' : character;
    }
    return text;
}

// CLI11 appends the allowed values to the type name: "TEXT:{on,off}".
std::vector<std::string> choicesIn(const std::string &typeName) {
    const std::size_t begin = typeName.find('{');
    const std::size_t end = typeName.find('}', begin);
    if (end == std::string::npos) {
        return {};
    }
    return CLI::detail::split(typeName.substr(begin + 1, end - begin - 1), ',');
}

DocumentedOption documented(const CLI::Option &option) {
    DocumentedOption result;
    result.isPositional = option.get_positional();
    result.isRequired = option.get_required();
    result.takesValue = option.get_items_expected_max() > 0;
    const std::string typeName = option.get_type_name();
    result.choices = choicesIn(typeName);
    result.valueName = typeName.substr(0, typeName.find(':'));
    result.description = withoutNewlines(option.get_description());
    if (result.isPositional) {
        result.names.push_back(option.get_name(true));
        return result;
    }
    for (const std::string &name : option.get_snames()) {
        result.names.push_back("-" + name);
    }
    for (const std::string &name : option.get_lnames()) {
        result.names.push_back("--" + name);
    }
    return result;
}

bool isShown(const CLI::Option &option) {
    return !option.get_group().empty();
}

}  // namespace

std::vector<DocumentedOption> optionsOf(const CLI::App &command) {
    std::vector<DocumentedOption> options;
    for (const CLI::Option *option : command.get_options()) {
        if (isShown(*option)) {
            options.push_back(documented(*option));
        }
    }
    const CLI::App *program = command.get_parent();
    if (program == nullptr || !command.get_fallthrough()) {
        return options;
    }
    for (const CLI::Option *option : program->get_options()) {
        const bool isProgramOnly =
            option == program->get_help_ptr() || option == program->get_version_ptr();
        if (isShown(*option) && !isProgramOnly) {
            options.push_back(documented(*option));
        }
    }
    return options;
}

std::vector<const CLI::App *> commandsOf(const CLI::App &program) {
    return program.get_subcommands(
        [](const CLI::App *command) { return !command->get_group().empty(); });
}

int documentCommandLine(const CLI::App &program, int argc, const char *const *argv) {
    const std::string form = argc == 2 ? argv[1] : "";
    if (form == "man") {
        writeManualPage(std::cout, program);
    } else if (form == "bash") {
        writeBashCompletion(std::cout, program);
    } else if (form == "zsh") {
        writeZshCompletion(std::cout, program);
    } else {
        std::cerr << "usage: " << argv[0] << " man|bash|zsh\n";
        return EXIT_FAILURE;
    }
    return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace support
