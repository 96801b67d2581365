// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <sstream>

#include "CommandDocs.h"

namespace support {

namespace {

// An unescaped dash is printed as a hyphen, which does not work when it is copied to a shell.
std::string escaped(const std::string &text) {
    std::string result = !text.empty() && (text[0] == '.' || text[0] == '\'') ? "\\&" : "";
    for (const char character : text) {
        if (character == '\\') {
            result += "\\(rs";
        } else if (character == '-') {
            result += "\\-";
        } else if (character == '\'') {
            result += "\\(aq";
        } else {
            result += character;
        }
    }
    return result;
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

bool isHeading(const std::string &line) {
    return line.size() > 1 && line.back() == ':' && line.find(' ') == std::string::npos;
}

// Preformatted text. A line of one word and a colon, such as "Examples:", becomes a section if
// `hasSections`, else a paragraph.
void writeText(std::ostream &out, const std::string &text, bool hasSections) {
    std::istringstream lines(text);
    bool isOpen = false;
    bool afterBlank = true;
    for (std::string line; std::getline(lines, line);) {
        const bool begins = isHeading(line) || (hasSections && line == "Exit codes:");
        if (begins && isOpen) {
            out << ".fi\n";
            isOpen = false;
        }
        if (begins) {
            line.pop_back();
            if (hasSections) {
                out << ".SH " << upperCase(line) << '\n';
            } else {
                out << ".PP\n" << line << ":\n";
            }
        } else if (!line.empty()) {
            if (!isOpen || afterBlank) {
                out << (isOpen ? ".fi\n" : "") << ".PP\n.nf\n";
                isOpen = true;
            }
            out << escaped(line) << '\n';
        }
        afterBlank = line.empty();
    }
    if (isOpen) {
        out << ".fi\n";
    }
}

void writeOption(std::ostream &out, const DocumentedOption &option) {
    out << ".TP\n";
    for (const std::string &name : option.names) {
        out << (&name == &option.names.front() ? "" : ", ")
            << (option.isPositional ? "\\fI" : "\\fB") << escaped(name) << "\\fR";
    }
    if (!option.isPositional && option.takesValue) {
        out << " \\fI" << escaped(option.valueName) << "\\fR";
    }
    out << '\n' << escaped(option.description) << '\n';
}

void writeCommand(std::ostream &out, const CLI::App &command) {
    out << ".SS \"" << escaped(command.get_name());
    for (const DocumentedOption &option : optionsOf(command)) {
        if (option.isPositional) {
            const std::string name = escaped(option.names.front());
            out << ' ' << (option.isRequired ? name : "[" + name + "]");
        }
    }
    out << " [OPTIONS]\"\n" << escaped(command.get_description()) << ".\n";
    for (const DocumentedOption &option : optionsOf(command)) {
        writeOption(out, option);
    }
    writeText(out, command.get_footer(), false);
}

}  // namespace

void writeManualPage(std::ostream &out, const CLI::App &program) {
    const std::string &name = program.get_name();
    const std::string description = program.get_description();
    const std::string brief = description.substr(0, description.find_first_of(".\n"));
    const std::vector<const CLI::App *> commands = commandsOf(program);
    out << ".TH " << upperCase(escaped(name)) << " 1 \"\" \"source-api " SOURCE_API_VERSION "\"\n"
        << ".SH NAME\n"
        << escaped(name) << " \\- " << escaped(brief) << '\n'
        << ".SH SYNOPSIS\n.B " << escaped(name) << "\n[OPTIONS]"
        << (commands.empty() ? "" : " COMMAND ...") << "\n.SH DESCRIPTION\n";
    writeText(out, description, false);
    out << ".SH OPTIONS\n";
    for (const DocumentedOption &option : optionsOf(program)) {
        writeOption(out, option);
    }
    if (!commands.empty()) {
        out << ".SH COMMANDS\n";
    }
    for (const CLI::App *command : commands) {
        writeCommand(out, *command);
    }
    writeText(out, program.get_footer(), true);
}

}  // namespace support
