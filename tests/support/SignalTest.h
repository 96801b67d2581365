// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A fixture for tests of signal subscriptions, which records the calls of the callback.
#ifndef TESTS_SIGNAL_TEST_H
#define TESTS_SIGNAL_TEST_H

#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "TransportTest.h"

inline constexpr const char *signalName = "source_api";
inline constexpr const char *path = "/source_service/message";
inline constexpr const char *interface = "source_service.message";

// The arguments of one call of the callback.
struct Delivery {
    std::optional<std::string> sender;
    std::string signal;
    std::string text;
    Json::Value json;
    unsigned int number = 0;
    std::string auxText;
    std::vector<unsigned char> buffer;
    std::thread::id thread;
};

using Deliveries = std::vector<Delivery>;

// Appends the delivery to `deliveries`, the user data.
inline void note(const char *sender, const char *signal, SourceTCMessage *message,
                 void *deliveries) {
    Delivery delivery;
    if (sender != nullptr) {
        delivery.sender = sender;
    }
    delivery.signal = signal;
    delivery.text = message->m_Message;
    delivery.json = message->m_JsonRoot;
    delivery.number = message->m_AuxNumber;
    delivery.auxText = message->m_AuxText;
    delivery.buffer.assign(message->m_Buffer, message->m_Buffer + message->m_BufferSize);
    delivery.thread = std::this_thread::get_id();
    static_cast<Deliveries *>(deliveries)->push_back(delivery);
}

template <class Exception>
void throwIt(const char * /*sender*/, const char * /*signal*/, SourceTCMessage * /*message*/,
             void *deliveries) {
    static_cast<Deliveries *>(deliveries)->emplace_back();
    throw Exception("from the callback");
}

class SignalTest : public TransportTest {
 protected:
    // Opens the endpoint and subscribes to the change signal; the log is left empty.
    void subscribe(SourceTCServer::SignalCallback callback = note) {
        open();
        ASSERT_EQ(endpoint.SubscribeSignal(signalName, callback, &deliveries), 1);
        platform.clearLog();
    }

    // Delivers what the service has emitted so far.
    void deliver() { ASSERT_TRUE(deliverSignalsOf(service.connection())); }

    void emit(const char *member, GVariant *body, const char *objectPath = path,
              const char *interfaceName = interface) {
        letTheBusCatchUp();
        service.emit(objectPath, interfaceName, member, body);
    }

    void emitAndDeliver(GVariant *body) {
        emit(signalName, body);
        deliver();
    }

    // Emits the change signal and waits until it is in this process, but not yet delivered: the
    // reply to a call cannot overtake it.
    void emitAndLeaveQueued() {
        emit(signalName, plainBody("{}"));
        SourceTCMessage reply;
        ASSERT_EQ(endpoint.SendMessage("source_service", nullptr, true, &reply), 1);
        platform.clearLog();
    }

    // Calls the signal handler as GLib does.
    static void handle(GVariant *body, void *server, const char *name = signalName,
                       const char *interfaceName = interface) {
        const std::unique_ptr<GVariant, void (*)(GVariant *)> owned(
            body != nullptr ? g_variant_ref_sink(body) : nullptr, [](GVariant *value) {
                if (value != nullptr) {
                    g_variant_unref(value);
                }
            });
        EndpointPeer::handleSignal(":1.7", path, interfaceName, name, owned.get(), server);
    }

    Deliveries deliveries;
};

#endif
