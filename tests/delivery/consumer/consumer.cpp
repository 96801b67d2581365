// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include <SourceAPI.h>
#include <SourceTCHandler.h>
#include <SourceTCMessage.h>
#include <SourceTCServer.h>

#include <iostream>

int main() {
    SourceTCMessage message;
    message.m_JsonRoot["asked"] = TKestrel_INFINITY;
    message.Generate();
    SourceTCServer endpoint("consumer", SourceTCServer::PROXY);
    if (endpoint.CreateDBusProxy() != 1 || endpoint.IsServiceAvailable("source_service") != 1) {
        return 1;
    }
    endpoint.CloseDBusProxy();

    std::shared_ptr<std::multimap<int, CSourceItem>> sources;
    if (!CSourceAPI::Get()->GetSourceList(&sources) || sources->empty()) {
        return 1;
    }
    for (const auto &source : *sources) {
        std::string text;
        CSourceAPI::Get()->GetSourceOSDText(source.first, text);
        std::cout << source.first << ' ' << text << '\n';
    }
    return CSourceAPI::Get()->Connect(4) ? 0 : 1;
}
