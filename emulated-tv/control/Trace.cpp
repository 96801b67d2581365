// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Trace.h"

#include <glib.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "Conversation.h"
#include "JsonText.h"
#include "Monitor.h"

namespace emulated_tv {

namespace {

std::string inUtf8(const Json::Value &value) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

// A message may hold anything; a terminal must not be told to act by it.
std::string printable(const std::string &text) {
    g_autofree char *valid = g_utf8_make_valid(text.data(), static_cast<gssize>(text.size()));
    std::string line;
    for (const char *next = valid; *next != '\0';) {
        const char *end = g_utf8_next_char(next);
        const bool isControl = g_unichar_iscntrl(g_utf8_get_char(next)) != FALSE;
        line += isControl ? std::string("?") : std::string(next, end);
        next = end;
    }
    return line;
}

std::string timeOfDay(const std::string &time) {
    g_autoptr(GDateTime) utc = g_date_time_new_from_iso8601(time.c_str(), nullptr);
    g_autoptr(GDateTime) local = g_date_time_to_local(utc);
    g_autofree char *text = g_date_time_format(local, "%H:%M:%S.%f");
    return std::string(text).substr(0, 12);
}

std::string bufferText(const Json::Value &buffer) {
    constexpr std::size_t shown = 64;
    const std::string hex = buffer["hex"].asString();
    const std::string rest = hex.size() > shown ? "..." : "";
    return " buffer of " + buffer["size"].asString() + ": " + hex.substr(0, shown) + rest;
}

std::string bodyText(const Json::Value &traced) {
    if (traced.isMember("error")) {
        return traced["error"].asString() + ": " + traced["text"].asString();
    }
    if (traced.isMember("type")) {
        return traced["type"].asString() + " " + traced["value"].asString();
    }
    std::string text = inUtf8(traced["sender"]) + " " + traced["number"].asString() + " " +
                       inUtf8(traced["auxiliaryText"]) + " ";
    text +=
        traced.isMember("json") ? inUtf8(traced["json"]) : "not JSON: " + inUtf8(traced["text"]);
    return traced.isMember("buffer") ? text + bufferText(traced["buffer"]) : text;
}

}  // namespace

std::string traceLine(const Json::Value &traced) {
    std::string kind = traced["kind"].asString();
    kind.resize(6, ' ');
    return printable(timeOfDay(traced["time"].asString()) + " " + kind + " " +
                     traced["from"].asString() + " -> " + traced.get("to", "*").asString() + " " +
                     traced["member"].asString() + " " + bodyText(traced));
}

int trace(const std::string &busAddress, const TracePlan &plan) {
    Monitor monitor(busAddress);
    std::cerr << "tracing" << std::endl;
    Conversation conversation;
    std::uint32_t shown = 0;
    while (!plan.count || shown < *plan.count) {
        const auto passing = monitor.next();
        if (!passing && !plan.count) {
            break;
        }
        if (!passing) {
            throw std::runtime_error("the TV ended after " + std::to_string(shown) + " of " +
                                     std::to_string(*plan.count) + " messages");
        }
        if (const auto traced = conversation.follow(*passing)) {
            std::cout << (plan.asJson ? jsonLine(*traced) : traceLine(*traced)) << std::endl;
            ++shown;
        }
    }
    return EXIT_SUCCESS;
}

}  // namespace emulated_tv
