// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Output.h"

#include <iostream>

#include "Failure.h"

std::string jsonLine(const Json::Value &document) {
    Json::StreamWriterBuilder format;
    format["indentation"] = "";
    format["emitUTF8"] = true;
    return Json::writeString(format, document);
}

void print(const std::string &text) {
    std::cout << text << std::endl;
    if (!std::cout) {
        throw Failure("cannot write to standard output");
    }
}
