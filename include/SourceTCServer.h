// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

/// \file
/// One named endpoint on the D-Bus system bus: synchronous method calls to a named peer, and
/// signals by member name.
///
/// 1. Failures: operations return 1 for success and 0 for failure; what failed is in the log.
///    Nothing is retried. A connection that the bus has dropped is not made again: every request
///    then fails at once.
/// 2. Life: construct, CreateDBusProxy(), use, CloseDBusProxy(), destroy. The destructor does not
///    close: an endpoint that is destroyed while open keeps its reference to the connection.
/// 3. Threads: any thread may call any operation. Calls run concurrently; opening, closing,
///    subscribing and unsubscribing wait for one another without limit, and a call that is made
///    while the bus is being opened fails after about a millisecond, as it does during a close. The
///    endpoint must not be destroyed while one of its operations is running.
/// 4. Signals arrive on the thread that iterates the GLib main context which was the
///    thread-default one of the subscriber at the time of SubscribeSignal(), and only while it is
///    iterated.
/// 5. A peer named "x" is reached under the bus name "x.message", at the object path
///    "/x/message" and the interface "x.message"; characters that are not ASCII letters, digits,
///    "_" or "." become "_" first.
#ifndef SOURCE_TC_SERVER_H
#define SOURCE_TC_SERVER_H

#include <gio/gio.h>

#include <map>
#include <string>

#include "SourceTCHandler.h"
#include "SourceTCMessage.h"

/// An endpoint.
class SourceTCServer {
 public:
    /// Any value can be stored; PROXY is the client kind.
    enum SourceTCServerType : int { PROXY = 2 };

    /// What runs when a signal arrives: `sender` is the name in the signal's body (null when the
    /// body was of an unknown type), `signalName` the member, `message` the decoded content,
    /// `userData` the subscriber's pointer. All belong to the endpoint and end with the call: copy
    /// what is kept. It blocks every other source of its main context while it runs. A
    /// Json::Exception or std::bad_alloc that leaves it is logged; any other exception passes into
    /// GLib's main loop.
    typedef void (*SignalCallback)(const char *sender, const char *signalName,
                                   SourceTCMessage *message, void *userData);

    /// One subscription.
    struct STSignalControl {
        std::string signalName;       ///< the member that it listens to
        SignalCallback callback;      ///< what is called
        void *userData;               ///< what it is called with
        unsigned int subscriptionId;  ///< that of g_dbus_connection_signal_subscribe()
    };

    /// Opens nothing. `name` is sent as the sender of every call.
    SourceTCServer(std::string name, SourceTCServerType type);
    /// Does not close the connection; call CloseDBusProxy() first.
    virtual ~SourceTCServer();
    SourceTCServer(const SourceTCServer &) = delete;
    SourceTCServer &operator=(const SourceTCServer &) = delete;

    /// Opens the connection to the system bus, blocking without limit until the bus has
    /// answered. Returns 1 when it is open, also when it was before, and 0 when it could not be
    /// opened. The process does not exit when the bus goes away.
    int CreateDBusServer();
    /// The same as CreateDBusServer().
    int CreateDBusProxy();

    /// Asks the bus daemon whether the peer `name` is there. Blocks until the daemon answers, at
    /// most for the bus's default time-out (25 seconds). Returns 1 when it is there; 0 when it is
    /// not, when `name` is null, when the connection is not open or when the question failed.
    int IsServiceAvailable(const char *name);

    /// Ends all subscriptions and releases the connection; when they return, every call that
    /// was in flight has ended. It waits for those without limit and without sleeping; calls
    /// begun meanwhile fail after about a millisecond. Closing a closed endpoint does nothing.
    /// Must not be called from within a call of this endpoint.
    void CloseDBusServer();
    /// The same as CloseDBusServer().
    void CloseDBusProxy();

    /// Sends `msg` (an empty message when null) to the peer `dest` and blocks for the reply, at
    /// most for the bus's default time-out (25 seconds), for any value of `sync`; `sync` is only
    /// logged. `reply` receives the decoded reply and must not be null. The caller keeps owning
    /// both messages.
    /// Returns 1 when a reply arrived, also one that is not JSON. Returns 0 when `dest` is null or
    /// empty, the endpoint is being closed, the connection is not open, the call failed, or the
    /// reply is a JSON object whose "dbus_result" is "fail" (`reply` then holds it; this outcome
    /// keeps the reply's body allocated).
    /// Throws Json::Exception when the reply is a JSON array or scalar, or has a "dbus_result"
    /// that cannot be read as text.
    int SendMessage(const char *dest, const SourceTCMessage *msg, bool sync,
                    SourceTCMessage *reply);

    /// Calls `callback` with `userData` for every signal whose member is `name`, from any sender.
    /// Does not block. Returns 1 when subscribed, 0 when the connection is not open or
    /// the bus library refused. Subscribing a name again replaces callback and user data, but
    /// leaves the first subscription delivering: every signal then calls the newer callback twice.
    int SubscribeSignal(const char *name, SignalCallback callback, void *userData);

    /// Ends the newest subscription of `name`, which must not be null. Does not block. Returns 1
    /// when the connection is open, whether or not the name was subscribed, else 0. A callback
    /// that is running on another thread is not waited for.
    int UnSubscribeSignal(const char *name);

 private:
    int m_FormatString(std::string &name);
    static int m_AnalyseMsg(GVariant *body, char **name, unsigned int *number, char **auxText,
                            char **text, unsigned char **buffer, unsigned int *size);
    static void m_DSignalHandler(GDBusConnection *connection, const char *sender,
                                 const char *objectPath, const char *interfaceName,
                                 const char *signalName, GVariant *parameters, void *userData);

    SourceTCServerType m_ServerType;
    int m_Created;
    std::string m_ServerName;
    std::string m_BusName;
    std::string m_ExtraName;
    unsigned int m_Reserved;
    GDBusConnection *m_Connection;
    unsigned int m_OwnerId;
    unsigned int m_RegistrationId;
    GDBusNodeInfo *m_IntrospectionData;
    std::map<std::string, STSignalControl *> m_SignalControls;
    SourceTCMutex m_Mutex;
    unsigned int m_SendCount;

    static std::map<std::string, SourceTCServer *> m_CreatedDbusServers;
};

#endif
