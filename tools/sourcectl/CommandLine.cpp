// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandLine.h"

#include <CLI/CLI.hpp>

#include "TerminalText.h"

namespace sourcectl {

namespace {

constexpr std::uint32_t longestTimeoutSeconds = 4294967;  // GLib takes 32 bits of milliseconds

// Defines the options and commands of `app`, which write into `invocation`.
class CommandLine {
 public:
    CommandLine(CLI::App &app, Invocation &invocation)
        : m_app(app), m_invocation(invocation), m_arguments(invocation.arguments) {
        addProgram();
        addList();
        addWatch();
        addConnect();
        addRun();
        addName();
        addRename();
        addDeviceType();
        addDetected();
        addOsd();
        addUsb();
        addIcon();
    }

 private:
    void addProgram() {
        m_app.name("sourcectl");
        m_app.description(
            "Reads and changes a TV's list of input sources.\n"
            "Calls the source service on the D-Bus system bus.");
        m_app.footer(
            "Exit codes:\n"
            "  0  done\n"
            "  1  refused, or the source service or the bus cannot be reached; one line\n"
            "     on standard error gives the reason\n"
            "  2  wrong usage\n"
            "\n"
            "Environment:\n"
            "  DBUS_SYSTEM_BUS_ADDRESS  address of a bus to use instead of the system bus\n"
            "\n"
            "Examples:\n"
            "  sourcectl list\n"
            "  sourcectl watch --json\n"
            "  sourcectl rename 4 \"Game console\"\n"
            "\n"
            "'sourcectl COMMAND --help' describes a command.");
        m_app.set_version_flag("--version", "sourcectl " SOURCECTL_VERSION,
                               "Print the version and exit");
        m_app.add_flag("--json", m_arguments.json,
                       "Print one JSON document in UTF-8 instead of text");
        m_app.add_flag("--verbose", m_arguments.verbose,
                       "Show the client library's log on standard error");
        m_app.require_subcommand(1);
        m_app.fallthrough();
        m_app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    }

    CLI::App *add(const char *name, const char *description, const char *footer, Command command) {
        CLI::App *added = m_app.add_subcommand(name, description);
        added->group("Commands");
        added->footer(std::string(footer) +
                      "\n\n--json and --verbose work here as well; see 'sourcectl --help'.");
        added->callback([this, command] { m_invocation.command = command; });
        return added;
    }

    CLI::Option *addText(CLI::App *command, const char *name, std::string &text,
                         const char *description) {
        static const CLI::Validator utf8(
            [](const std::string &given) {
                return support::isUtf8(given) ? std::string() : std::string("not valid UTF-8");
            },
            "");
        return command->add_option(name, text, description)->check(utf8);
    }

    void addType(CLI::App *command) {
        command
            ->add_option("TYPE", m_arguments.type,
                         "Source type, in the source service's numbering;\n"
                         "the column TYPE of 'sourcectl list'")
            ->required();
    }

    void addIndex(CLI::App *command) {
        command
            ->add_option("--index", m_arguments.index,
                         "Activity index, which distinguishes sources of one\n"
                         "type; the column INDEX of 'sourcectl list'")
            ->capture_default_str();
    }

    void addKey(CLI::App *command) {
        addText(command, "KEY", m_arguments.key,
                "Unique key of the source; the column KEY of\n"
                "'sourcectl list'")
            ->required();
    }

    void addList() {
        add("list", "Print the list of sources",
            "NAME is the user's name of the source or, without one, the detected name.\n"
            "POWER is a number in the source service's numbering.\n"
            "With --json: an array with one object for each source; its members are sourceType,\n"
            "mbrActivityIndex, uniqueKey, editName (the user's name), detectedName, iconPath,\n"
            "connectionState (true or false) and powerState.\n"
            "\n"
            "Examples:\n"
            "  sourcectl list\n"
            "  sourcectl list --json | jq '.[] | select(.connectionState) | .uniqueKey'",
            listSources);
    }

    void addWatch() {
        CLI::App *command = add(
            "watch", "Print the changes of the list when they happen",
            "Prints a line when it starts, then one for each source that was added, removed or\n"
            "changed. Notifications of an unchanged list are ignored. Exits with code 0 after N\n"
            "changes, after the timeout, or when interrupted.\n"
            "With --json, one object on each line: first {\"sources\": [...]}, then for each\n"
            "change {\"result\": number from the source service, \"added\": [...],\n"
            "\"removed\": [...], \"changed\": [{\"before\": ..., \"after\": ...}]}.\n"
            "\n"
            "Examples:\n"
            "  sourcectl watch\n"
            "  sourcectl watch --count 1 --timeout 30",
            watchSources);
        command
            ->add_option("--count", m_arguments.count,
                         "Exit after N changes of the list; exit code 1 if\n"
                         "the timeout ends before")
            ->type_name("N")
            ->check(CLI::Range(std::uint32_t{1}, UINT32_MAX, "1 or more"));
        command
            ->add_option("--timeout", m_arguments.timeoutSeconds,
                         "Exit after this many seconds; default: no limit")
            ->type_name("SECONDS")
            ->check(CLI::Range(std::uint32_t{0}, longestTimeoutSeconds));
    }

    void addConnect() {
        addType(add("connect", "Switch the TV to a source",
                    "Example:\n"
                    "  sourcectl connect 4",
                    connectSource));
    }

    void addRun() {
        CLI::App *command = add("run", "Connect the source of a type and unique key",
                                "Example:\n"
                                "  sourcectl run 8 usb-disk",
                                runSource);
        addType(command);
        addKey(command);
    }

    void addName() {
        CLI::App *command =
            add("name", "Print the name of a source",
                "The user's name of the source or, without one, the detected name.\n"
                "\n"
                "Example:\n"
                "  sourcectl name 8 --index 1",
                showName);
        addType(command);
        addIndex(command);
    }

    void addRename() {
        CLI::App *command = add("rename", "Give a source a name",
                                "Examples:\n"
                                "  sourcectl rename 4 \"Game console\"\n"
                                "  sourcectl rename 4 -- -dash-",
                                renameSource);
        addType(command);
        addText(command, "TEXT", m_arguments.text, "The new name; may be empty")->required();
        addIndex(command);
    }

    void addDeviceType() {
        CLI::App *command = add("device-type", "Print or set the device type of a source",
                                "Examples:\n"
                                "  sourcectl device-type 4\n"
                                "  sourcectl device-type 4 7",
                                showDeviceType);
        addType(command);
        const CLI::Option *number =
            command->add_option("NUMBER", m_arguments.deviceType,
                                "The device type to set, in the source service's numbering");
        addIndex(command);
        command->callback([this, number] {
            m_invocation.command = number->count() > 0 ? changeDeviceType : showDeviceType;
        });
    }

    void addDetected() {
        CLI::App *command = add("detected", "Set the name and device type detected for a source",
                                "Example:\n"
                                "  sourcectl detected 4 \"Player X\" 7",
                                changeDetected);
        addType(command);
        addText(command, "TEXT", m_arguments.text, "Name of the connected device")->required();
        command
            ->add_option("DEVICE_TYPE", m_arguments.deviceType,
                         "Device type, in the source service's numbering")
            ->required();
        addIndex(command);
    }

    void addOsd() {
        addType(add("osd", "Print the platform's on-screen text of a source type",
                    "The source service is not needed.\n"
                    "\n"
                    "Example:\n"
                    "  sourcectl osd 4",
                    showOnScreenText));
    }

    void addUsb() {
        addKey(add("usb", "Print the properties of a USB device",
                   "Example:\n"
                   "  sourcectl usb usb-camera",
                   showUsbDevice));
    }

    void addIcon() {
        CLI::App *command =
            add("icon", "Print or set the icons of a source",
                "The icons are set if their paths are given, all three together. An empty path\n"
                "means no icon. For an unknown source no icons are printed.\n"
                "\n"
                "Examples:\n"
                "  sourcectl icon 4\n"
                "  sourcectl icon 4 --source /i/hdmi.png --focused /i/on.png "
                "--unfocused /i/off.png",
                showIcons);
        addType(command);
        addIndex(command);
        CLI::Option *source =
            addText(command, "--source", m_arguments.sourceIcon, "Set the icon of the source");
        CLI::Option *focused = addText(command, "--focused", m_arguments.focusedIcon,
                                       "Set the launcher's icon for the focused state");
        CLI::Option *unfocused = addText(command, "--unfocused", m_arguments.unfocusedIcon,
                                         "Set the launcher's icon for the unfocused state");
        source->type_name("PATH")->needs(focused, unfocused);
        focused->type_name("PATH")->needs(source, unfocused);
        unfocused->type_name("PATH")->needs(source, focused);
        command->callback([this, source] {
            m_invocation.command = source->count() > 0 ? changeIcons : showIcons;
        });
    }

    CLI::App &m_app;
    Invocation &m_invocation;
    Arguments &m_arguments;
};

}  // namespace

Invocation readCommandLine(int argc, const char *const *argv) {
    Invocation invocation;
    CLI::App app;
    const CommandLine commandLine(app, invocation);
    try {
        app.parse(argc, argv);
    } catch (const CLI::RequiredError &missing) {
        // For an unknown command the parser would report that a command is missing.
        const std::vector<std::string> unknown = app.remaining();
        if (unknown.empty()) {
            app.exit(missing);
        } else {
            app.exit(CLI::ExtrasError(unknown));
        }
        invocation = {{}, nullptr, exitWrongUsage};
    } catch (const CLI::ParseError &outcome) {
        invocation = {{}, nullptr, app.exit(outcome) == 0 ? exitDone : exitWrongUsage};
    }
    return invocation;
}

void showCommandLine(const std::function<void(const CLI::App &)> &reader) {
    Invocation invocation;
    CLI::App app;
    const CommandLine commandLine(app, invocation);
    reader(app);
}

}  // namespace sourcectl
