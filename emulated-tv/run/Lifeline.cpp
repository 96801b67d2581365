// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "Lifeline.h"

#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace emulated_tv {

namespace {

void say(int end, const void *bytes, std::size_t size) {
    send(end, bytes, size, MSG_NOSIGNAL);
}

// What was said at once is heard at once; the result is not above zero when nobody speaks any more.
ssize_t hear(int end, void *bytes, std::size_t size) {
    ssize_t heard = 0;
    do {
        heard = recv(end, bytes, size, 0);
    } while (heard < 0 && errno == EINTR);
    return heard;
}

void sayText(int end, const std::string &text) {
    say(end, text.data(), text.size());
}

std::optional<std::string> hearText(int end) {
    std::string text(8192, '\0');
    const ssize_t size = hear(end, text.data(), text.size());
    if (size <= 0) {
        return std::nullopt;
    }
    text.resize(static_cast<std::size_t>(size));
    return text;
}

void sayNumber(int end, pid_t number) {
    say(end, &number, sizeof number);
}

std::optional<pid_t> hearNumber(int end) {
    pid_t number = 0;
    return hear(end, &number, sizeof number) == sizeof number ? std::optional(number)
                                                              : std::nullopt;
}

}  // namespace

std::pair<support::FileDescriptor, support::FileDescriptor> makeLifeline() {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
        throw std::system_error(errno, std::generic_category(), "cannot make a pair of sockets");
    }
    return {support::FileDescriptor(ends[0]), support::FileDescriptor(ends[1])};
}

void sayPlaces(int serviceEnd, const RootPlaces &places) {
    sayText(serviceEnd, places.root);
    sayText(serviceEnd, places.socket);
    sayNumber(serviceEnd, places.isTemporary ? 1 : 0);
}

std::optional<RootPlaces> readPlaces(int launcherEnd) {
    const auto root = hearText(launcherEnd);
    const auto socket = hearText(launcherEnd);
    const auto isTemporary = hearNumber(launcherEnd);
    if (!root || !socket || !isTemporary) {
        return std::nullopt;
    }
    return RootPlaces{*root, *socket, *isTemporary != 0};
}

void sayBusAddress(int launcherEnd, const std::string &address) {
    sayText(launcherEnd, address);
}

std::optional<std::string> readBusAddress(int serviceEnd) {
    return hearText(serviceEnd);
}

void sayReady(int serviceEnd) {
    sayNumber(serviceEnd, 0);
}

bool readReady(int launcherEnd) {
    return hearNumber(launcherEnd).has_value();
}

void sayGroup(int launcherEnd, pid_t group) {
    sayNumber(launcherEnd, group);
}

std::optional<pid_t> readGroup(int serviceEnd) {
    return hearNumber(serviceEnd);
}

}  // namespace emulated_tv
