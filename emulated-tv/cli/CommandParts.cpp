// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "CommandParts.h"

#include <utility>

#include "EmulatorRoot.h"

namespace emulated_tv {

CLI::App *addSubcommand(CLI::App &app, Request &request, const std::string &name,
                        const std::string &description, std::function<int()> action) {
    CLI::App *subcommand = app.add_subcommand(name, description);
    subcommand->callback([&request, action = std::move(action)] { request.action = action; });
    return subcommand;
}

CLI::App *addRemoteCommand(CLI::App &app, Request &request, const std::string &name,
                           const std::string &description, std::function<int()> action) {
    auto *subcommand = addSubcommand(app, request, name, description, std::move(action));
    addRoot(subcommand, request,
            "Folder of the running TV; SOURCE_TV_ROOT when it is not given, else the only one that "
            "this user runs without --root");
    return subcommand;
}

RemoteControl tvOf(const Request &request) {
    return RemoteControl(findBusAddress(request.root));
}

void addRoot(CLI::App *subcommand, Request &request, const std::string &description) {
    subcommand
        ->add_option_function<std::string>(
            "--root", [&request](const std::string &root) { request.root = root; }, description)
        ->type_name("DIR");
}

}  // namespace emulated_tv
