// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// What sourcectl can do once. Each prints its answer, or throws a Failure.
#ifndef SOURCECTL_COMMANDS_H
#define SOURCECTL_COMMANDS_H

#include "Arguments.h"

using Command = void (*)(const Arguments &arguments);

void listSources(const Arguments &arguments);
void connectSource(const Arguments &arguments);
void runSource(const Arguments &arguments);
void showName(const Arguments &arguments);
void renameSource(const Arguments &arguments);
void showDeviceType(const Arguments &arguments);
void changeDeviceType(const Arguments &arguments);
void changeDetected(const Arguments &arguments);
void showOnScreenText(const Arguments &arguments);
void showUsbDevice(const Arguments &arguments);
void showIcons(const Arguments &arguments);
void changeIcons(const Arguments &arguments);

#endif
