// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceTCServer.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <set>
#include <utility>

#include "Atomic.h"
#include "DeliberateLeak.h"
#include "GLibPtr.h"
#include "Log.h"
#include "MessageBody.h"
#include "Mutex.h"

using namespace source_api::internal;

std::map<std::string, SourceTCServer *> SourceTCServer::m_CreatedDbusServers;

namespace {

// How long a call waits for m_Mutex, in microseconds. If it does not get it by then, the endpoint
// is taken to be closing.
constexpr unsigned long closingProbe = 1000;

// Guards what all endpoints share (livingEndpoints, m_CreatedDbusServers), and each endpoint's
// connection pointer and subscription table for calls and signals, which must not wait for m_Mutex:
// a close holds it while calls are in flight. Taken inside m_Mutex; no other lock is taken inside
// it. Held for a look-up or a swap only.
Mutex tableMutex;

// GLib may deliver a signal that was queued before its endpoint was deleted. Never destroyed, since
// that may happen during exit too.
std::set<const void *> &livingEndpoints GUARDED_BY(tableMutex) = *new std::set<const void *>;

class EndpointLock {
 public:
    explicit EndpointLock(SourceTCMutex &mutex) : m_mutex(mutex) { m_mutex.Lock(); }
    ~EndpointLock() { m_mutex.Unlock(); }
    EndpointLock(const EndpointLock &) = delete;
    EndpointLock &operator=(const EndpointLock &) = delete;

 private:
    SourceTCMutex &m_mutex;
};

// Counts a call while it is in flight.
class CallInFlight {
 public:
    explicit CallInFlight(unsigned int &count) : m_count(count) { ++m_count; }
    ~CallInFlight() { --m_count; }
    CallInFlight(const CallInFlight &) = delete;
    CallInFlight &operator=(const CallInFlight &) = delete;

 private:
    std::atomic_ref<unsigned int> m_count;
};

// Owns the outputs of m_AnalyseMsg.
struct DecodedBody {
    DecodedBody() = default;
    ~DecodedBody() {
        delete[] name;
        delete[] auxText;
        delete[] text;
        delete[] buffer;
    }
    DecodedBody(const DecodedBody &) = delete;
    DecodedBody &operator=(const DecodedBody &) = delete;

    void moveInto(SourceTCMessage &message) const {
        if (text != nullptr) {
            message.SetMessage(text);
        }
        message.m_AuxNumber = number;
        if (auxText != nullptr) {
            message.m_AuxText = auxText;
        }
        if (size != 0) {
            message.SetBuffer(buffer, size);
        }
    }

    char *name = nullptr;
    unsigned int number = 0;
    char *auxText = nullptr;
    char *text = nullptr;
    unsigned char *buffer = nullptr;
    unsigned int size = 0;
};

ConnectionPtr share(GDBusConnection *const &connection) {
    const MutexLock lock(tableMutex);
    return ConnectionPtr(connection != nullptr ? G_DBUS_CONNECTION(g_object_ref(connection))
                                               : nullptr);
}

bool isOpen(GDBusConnection *connection) {
    return connection != nullptr && g_dbus_connection_is_closed(connection) == FALSE;
}

// Returns whether a character was replaced.
bool sanitise(std::string &busName) {
    bool replaced = false;
    for (char &character : busName) {
        if (g_ascii_isalnum(character) == 0 && character != '_' && character != '.') {
            character = '_';
            replaced = true;
        }
    }
    return replaced;
}

std::string busNameOf(const char *peer) {
    std::string name = std::string(peer) + ".message";
    sanitise(name);
    return name;
}

std::string objectPathOf(const std::string &busName) {
    std::string path = "." + busName;
    std::replace(path.begin(), path.end(), '.', '/');
    return path;
}

void copyText(const char *text, char **out) {
    if (out != nullptr) {
        const std::size_t size = std::strlen(text) + 1;
        *out = new char[size];
        std::memcpy(*out, text, size);
    }
}

}  // namespace

SourceTCServer::SourceTCServer(std::string name, SourceTCServerType type)
    : m_ServerType(type),
      m_Created(0),
      m_ServerName(std::move(name)),
      m_BusName(m_ServerName + ".message"),
      m_Reserved(0),
      m_Connection(nullptr),
      m_OwnerId(0),
      m_RegistrationId(0),
      m_IntrospectionData(nullptr),
      m_SendCount(0) {
    static_cast<void>(m_Reserved);  // Unused: it keeps its place in the layout.
    m_Mutex.Create();
    const MutexLock lock(tableMutex);
    livingEndpoints.insert(this);
}

SourceTCServer::~SourceTCServer() {
    {
        const MutexLock lock(tableMutex);
        livingEndpoints.erase(this);
    }
    m_Mutex.Destroy();
    for (const auto &entry : m_SignalControls) {
        leakOnPurpose(entry.second);
    }
}

int SourceTCServer::CreateDBusServer() {
    const EndpointLock lock(m_Mutex);
    LOG_INFO("m_CreateDBus type: %d", m_ServerType);
    if (m_Created != 0) {
        return m_Created;
    }
    GError *failure = nullptr;
    GDBusConnection *const connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, &failure);
    if (connection == nullptr) {
        LOG_ERROR("get dbus connection fail!");
        if (failure != nullptr) {
            const ErrorPtr error(failure);
            LOG_ERROR("(%s %d)", error->message, error->code);
        }
        return 0;
    }
    // The application outlives the bus.
    g_dbus_connection_set_exit_on_close(connection, FALSE);
    LOG_INFO("Get dbus connection success : %p", static_cast<void *>(connection));
    {
        const MutexLock tableLock(tableMutex);
        m_Connection = connection;
    }
    m_Created = 1;
    return 1;
}

int SourceTCServer::CreateDBusProxy() {
    return CreateDBusServer();
}

int SourceTCServer::IsServiceAvailable(const char *name) {
    if (name == nullptr) {
        return 0;
    }
    const ConnectionPtr connection = share(m_Connection);
    if (!isOpen(connection.get())) {
        LOG_ERROR("dbus connection is not open");
        return 0;
    }
    GVariant *const nameField = g_variant_new_string(busNameOf(name).c_str());
    GError *failure = nullptr;
    const VariantPtr reply(g_dbus_connection_call_sync(
        connection.get(), "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "NameHasOwner", g_variant_new_tuple(&nameField, 1), G_VARIANT_TYPE("(b)"),
        G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &failure));
    if (failure != nullptr) {
        const ErrorPtr error(failure);
        LOG_ERROR("sync call fail (%s, %d)", error->message, error->code);
        return 0;
    }
    if (!reply) {
        return 0;
    }
    const VariantPtr owned(g_variant_get_child_value(reply.get(), 0));
    return g_variant_get_boolean(owned.get()) != FALSE ? 1 : 0;
}

void SourceTCServer::CloseDBusServer() {
    LOG_INFO("close %s begin", m_ServerName.c_str());
    const EndpointLock lock(m_Mutex);
    if (m_Connection == nullptr) {
        LOG_INFO("%s has closed.", m_ServerName.c_str());
        return;
    }
    const std::atomic_ref<unsigned int> sendCount(m_SendCount);
    LOG_INFO("waiting all send message/signal finished %ud", sendCount.load());
    // No other call can count itself while m_Mutex is held here.
    for (unsigned int idle = 0; !sendCount.compare_exchange_strong(idle, 0);) {
        idle = 0;
    }
    LOG_INFO("all send message/signal finished");

    std::map<std::string, STSignalControl *> controls;
    ConnectionPtr connection;
    {
        const MutexLock tableLock(tableMutex);
        controls.swap(m_SignalControls);
        connection.reset(std::exchange(m_Connection, nullptr));
    }
    for (const auto &entry : controls) {
        const std::unique_ptr<STSignalControl> control(entry.second);
        if (control) {
            g_dbus_connection_signal_unsubscribe(connection.get(), control->subscriptionId);
        }
    }
    if (m_OwnerId != 0) {
        g_bus_unown_name(std::exchange(m_OwnerId, 0));
    }
    if (m_RegistrationId != 0) {
        g_dbus_connection_unregister_object(connection.get(), std::exchange(m_RegistrationId, 0));
    }
    if (m_IntrospectionData != nullptr) {
        g_dbus_node_info_unref(std::exchange(m_IntrospectionData, nullptr));
    }
    connection.reset();
    LOG_INFO("close connection and all close motion finished");
    if (m_ServerType != PROXY) {
        const MutexLock tableLock(tableMutex);
        m_CreatedDbusServers.erase(m_ServerName);
    }
    m_Created = 0;
}

void SourceTCServer::CloseDBusProxy() {
    CloseDBusServer();
}

int SourceTCServer::SendMessage(const char *dest, const SourceTCMessage *msg, bool sync,
                                SourceTCMessage *reply) {
    if (dest == nullptr || *dest == '\0') {
        LOG_ERROR("No dest information");
        return 0;
    }
    if (m_Mutex.Try(closingProbe) == 0) {
        LOG_ERROR("Server is going to be closed!");
        return 0;
    }
    // Counted before the lock is released, so that a close either waits for this call or stops it.
    const CallInFlight inFlight(m_SendCount);
    m_Mutex.Unlock();

    const ConnectionPtr connection = share(m_Connection);
    if (!isOpen(connection.get())) {
        LOG_ERROR("dbus connection is not open");
        return 0;
    }
    const std::string busName = busNameOf(dest);
    LOG_ERROR("send message to %s(%s), sync : %s, reply : %p ", dest, busName.c_str(),
              sync ? "true" : "false", static_cast<void *>(reply));

    const MethodCall call = makeMethodCall(m_ServerName, msg);
    GError *failure = nullptr;
    VariantPtr replyBody(g_dbus_connection_call_sync(
        connection.get(), busName.c_str(), objectPathOf(busName).c_str(), busName.c_str(),
        call.method, call.body.get(), nullptr, G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &failure));
    if (!replyBody) {
        if (failure != nullptr) {
            const ErrorPtr error(failure);
            LOG_ERROR("Fail to invoking sync message call(%s %d)", error->message, error->code);
        }
        LOG_ERROR("send %s!", "fail");
        return 0;
    }
    DecodedBody decoded;
    m_AnalyseMsg(replyBody.get(), nullptr, &decoded.number, &decoded.auxText, &decoded.text,
                 &decoded.buffer, &decoded.size);
    decoded.moveInto(*reply);
    if (reply->Parse() && reply->m_JsonRoot["dbus_result"].asString() == "fail") {
        LOG_ERROR("send sync message fail: %s", reply->GetMessage().c_str());
        leakOnPurpose(replyBody.release());
        LOG_ERROR("send %s!", "fail");
        return 0;
    }
    replyBody.reset();
    LOG_ERROR("send %s!", "success");
    return 1;
}

int SourceTCServer::SubscribeSignal(const char *name, SignalCallback callback, void *userData) {
    const EndpointLock lock(m_Mutex);
    if (!isOpen(m_Connection)) {
        LOG_ERROR("dbus connection is not open");
        return 0;
    }
    LOG_INFO("Begin subscribe signal");
    std::unique_ptr<STSignalControl> control(new STSignalControl{name, callback, userData, 0});
    control->subscriptionId = g_dbus_connection_signal_subscribe(
        m_Connection, nullptr, nullptr, name, nullptr, nullptr, G_DBUS_SIGNAL_FLAGS_NONE,
        m_DSignalHandler, this, nullptr);
    if (control->subscriptionId == 0) {
        LOG_ERROR("fail to subscribe signal");
        return 0;
    }
    {
        const MutexLock tableLock(tableMutex);
        // An older record of the name is leaked, and its subscription continues to deliver.
        leakOnPurpose(std::exchange(m_SignalControls[name], control.release()));
    }
    LOG_INFO("SubscribeSignal %s success", name);
    return 1;
}

int SourceTCServer::UnSubscribeSignal(const char *name) {
    const EndpointLock lock(m_Mutex);
    if (!isOpen(m_Connection)) {
        LOG_ERROR("dbus connection is not open");
        return 0;
    }
    const auto entry = m_SignalControls.find(name);
    if (entry == m_SignalControls.end()) {
        return 1;
    }
    const std::unique_ptr<STSignalControl> control(entry->second);
    {
        const MutexLock tableLock(tableMutex);
        m_SignalControls.erase(entry);
    }
    if (control) {
        g_dbus_connection_signal_unsubscribe(m_Connection, control->subscriptionId);
        LOG_INFO("UnSubscribeSignal %s(%d)", name, control->subscriptionId);
    }
    return 1;
}

int SourceTCServer::m_FormatString(std::string &name) {
    return sanitise(name) ? 1 : 0;
}

int SourceTCServer::m_AnalyseMsg(GVariant *body, char **name, unsigned int *number, char **auxText,
                                 char **text, unsigned char **buffer, unsigned int *size) {
    if (body == nullptr) {
        return 0;
    }
    LOG_INFO("%s", g_variant_get_type_string(body));
    BodyView view;
    if (!readBody(body, view)) {
        return 1;
    }
    copyText(view.sender, name);
    copyText(view.auxText, auxText);
    copyText(view.text, text);
    *number = view.number;
    if (view.buffer != nullptr) {
        *size = view.bufferSize;
        *buffer = new unsigned char[view.bufferSize];
        std::memcpy(*buffer, view.buffer, view.bufferSize);
    }
    return 1;
}

void SourceTCServer::m_DSignalHandler(GDBusConnection * /*connection*/, const char *sender,
                                      const char *objectPath, const char *interfaceName,
                                      const char *signalName, GVariant *parameters,
                                      void *userData) {
    LOG_ERROR(" sender(%s) object(%s) interface(%s) signal(%s)", orNull(sender), orNull(objectPath),
              orNull(interfaceName), orNull(signalName));
    if (interfaceName == nullptr || signalName == nullptr) {
        return;
    }
    if (userData == nullptr) {
        LOG_ERROR("pThis is NULL");
        return;
    }
    // Copied, because the endpoint may be deleted on another thread meanwhile.
    SignalCallback callback = nullptr;
    void *callbackData = nullptr;
    const auto findSubscription = [&] {
        const MutexLock lock(tableMutex);
        if (livingEndpoints.count(userData) == 0) {
            return false;
        }
        const auto &controls = static_cast<SourceTCServer *>(userData)->m_SignalControls;
        const auto entry = controls.find(signalName);
        if (entry == controls.end()) {
            return false;
        }
        if (entry->second != nullptr) {
            callback = entry->second->callback;
            callbackData = entry->second->userData;
        }
        return true;
    };
    // Any process may send such a signal, so nothing in it may end the application: no exception of
    // the JSON library and no lack of memory may unwind through GLib's main loop.
    try {
        if (!findSubscription()) {
            LOG_INFO("no register info of %s", signalName);
            return;
        }
        LOG_INFO("begin to analyze signal of %s", signalName);
        DecodedBody decoded;
        m_AnalyseMsg(parameters, &decoded.name, &decoded.number, &decoded.auxText, &decoded.text,
                     &decoded.buffer, &decoded.size);
        SourceTCMessage message;
        decoded.moveInto(message);
        if (callback != nullptr) {
            callback(decoded.name, signalName, &message, callbackData);
        } else {
            LOG_INFO("no registered callback of %s", signalName);
        }
    } catch (const Json::Exception &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
    } catch (const std::bad_alloc &exception) {
        LOG_ERROR("Exception occured! [%s]", exception.what());
    }
}
