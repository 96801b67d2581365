// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>

#include "CommandDocs.h"

namespace support {

namespace {

std::string functionName(const CLI::App &program) {
    std::string name = "_" + program.get_name();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

std::string joined(const std::vector<std::string> &words, const char *between) {
    return CLI::detail::join(words, between);
}

void writeComment(std::ostream &out, const CLI::App &program) {
    out << "# Generated from the options of " << program.get_name() << ".\n";
}

std::vector<std::string> namesOf(const std::vector<const CLI::App *> &commands) {
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const CLI::App *command : commands) {
        names.push_back(command->get_name());
    }
    return names;
}

// The words that can be completed: option names, and the allowed values of positional arguments.
std::vector<std::string> wordsOf(const CLI::App &command) {
    std::vector<std::string> words;
    for (const DocumentedOption &option : optionsOf(command)) {
        const std::vector<std::string> &more = option.isPositional ? option.choices : option.names;
        words.insert(words.end(), more.begin(), more.end());
    }
    return words;
}

// The bash code that completes an option's value: files, folders, or nothing.
std::string bashValue(const DocumentedOption &option) {
    if (option.valueName != "PATH" && option.valueName != "DIR") {
        return "";
    }
    return std::string("compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen ") +
           (option.valueName == "DIR" ? "-d" : "-f") + " -- \"$word\"); ";
}

// `name` is that of the command, or empty for the program itself.
void writeBashValues(std::ostream &out, const CLI::App &command, const std::string &name) {
    for (const DocumentedOption &option : optionsOf(command)) {
        if (option.isPositional || !option.takesValue) {
            continue;
        }
        for (const std::string &optionName : option.names) {
            out << "        " << name << ":" << optionName << ") " << bashValue(option)
                << "return ;;\n";
        }
    }
}

// Escapes text for a single-quoted argument of _arguments, in which brackets and colons are
// special.
std::string zshEscaped(const std::string &text) {
    std::string result;
    for (const char character : text) {
        if (character == '\'') {
            result += "'\\''";
        } else if (character == '[' || character == ']' || character == ':' || character == '\\') {
            result += std::string("\\") + character;
        } else {
            result += character;
        }
    }
    return result;
}

std::string zshValue(const DocumentedOption &option) {
    if (!option.choices.empty()) {
        return "(" + joined(option.choices, " ") + ")";
    }
    if (option.valueName == "PATH") {
        return "_files";
    }
    return option.valueName == "DIR" ? "_files -/" : " ";
}

void writeZshArguments(std::ostream &out, const CLI::App &command, const char *indent) {
    for (const DocumentedOption &option : optionsOf(command)) {
        if (option.isPositional) {
            out << " \\\n"
                << indent << "'" << (option.isRequired ? ":" : "::")
                << zshEscaped(option.names.front()) << ":" << zshValue(option) << "'";
            continue;
        }
        for (const std::string &name : option.names) {
            out << " \\\n" << indent << "'" << name << "[" << zshEscaped(option.description) << "]";
            if (option.takesValue) {
                out << ":" << option.valueName << ":" << zshValue(option);
            }
            out << "'";
        }
    }
}

void writeZshCommands(std::ostream &out, const std::vector<const CLI::App *> &commands) {
    out << " \\\n"
           "        '1:command:->command' '*::argument:->argument'\n"
           "    case $state in\n"
           "        command)\n"
           "            local -a commands=(";
    for (const CLI::App *command : commands) {
        out << "\n                '" << command->get_name() << ":"
            << zshEscaped(command->get_description()) << "'";
    }
    out << ")\n"
           "            _describe -t commands command commands\n"
           "            ;;\n"
           "        argument)\n"
           "            case $line[1] in\n";
    for (const CLI::App *command : commands) {
        out << "                " << command->get_name() << ")\n                    _arguments";
        writeZshArguments(out, *command, "                        ");
        out << "\n                    ;;\n";
    }
    out << "            esac\n"
           "            ;;\n"
           "    esac\n";
}

}  // namespace

void writeBashCompletion(std::ostream &out, const CLI::App &program) {
    const std::vector<const CLI::App *> commands = commandsOf(program);
    const std::vector<std::string> names = namesOf(commands);
    writeComment(out, program);
    out << functionName(program)
        << "() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} command='' words='' i\n"
           "    COMPREPLY=()\n"
           "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "        case ${COMP_WORDS[i]} in\n"
           "            --) compopt -o default 2>/dev/null; return ;;\n";
    if (!names.empty()) {
        out << "            " << joined(names, " | ")
            << ") [ -n \"$command\" ] || command=${COMP_WORDS[i]} ;;\n";
    }
    out << "        esac\n"
           "    done\n"
           "    case $command:${COMP_WORDS[COMP_CWORD - 1]} in\n";
    writeBashValues(out, program, "");
    for (const CLI::App *command : commands) {
        writeBashValues(out, *command, command->get_name());
    }
    out << "    esac\n"
           "    case $command in\n"
           "        '') words='"
        << joined(names, " ") << (names.empty() ? "" : " ") << joined(wordsOf(program), " ")
        << "' ;;\n";
    for (const CLI::App *command : commands) {
        out << "        " << command->get_name() << ") words='" << joined(wordsOf(*command), " ")
            << "' ;;\n";
    }
    out << "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "}\n"
           "complete -F "
        << functionName(program) << " " << program.get_name() << "\n";
}

void writeZshCompletion(std::ostream &out, const CLI::App &program) {
    const std::vector<const CLI::App *> commands = commandsOf(program);
    out << "#compdef " << program.get_name() << "\n";
    writeComment(out, program);
    out << functionName(program)
        << "() {\n"
           "    local context state state_descr line\n"
           "    typeset -A opt_args\n"
           "    _arguments -C";
    writeZshArguments(out, program, "        ");
    if (commands.empty()) {
        out << "\n";
    } else {
        writeZshCommands(out, commands);
    }
    out << "}\n" << functionName(program) << " \"$@\"\n";
}

}  // namespace support
