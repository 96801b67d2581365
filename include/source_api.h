/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** \file
 * The source list for C applications, record by record.
 *
 * 1. Failures show as results: false or a device type of 0. A false result covers a refusal by the
 *    source service as well as a service that could not be reached; the platform's log (tag
 *    "SOURCE_API") shows which. There are no error codes.
 * 2. Memory: the callback of sourceapi_get_sourcelist() owns each record that it is given and
 *    releases its five texts and then the record itself with free().
 * 3. Nulls: a null text argument raises a C++ exception (std::logic_error), which ends a C
 *    program; a null callback of sourceapi_get_sourcelist() crashes. A C++ exception also leaves
 *    any function that reads the settings store when that holds values of wrong types: the first
 *    call of all, sourceapi_get_sourcelist() and sourceapi_get_source_device_type().
 * 4. Time: functions that ask the service block until it answers, at most for the bus's default
 *    time-out (25 seconds) for each of two bus calls, and fail at once when the service is not on
 *    the bus. A sourceapi_get_sourcelist() or sourceapi_get_source_device_type() that has to fetch
 *    the list also waits for the service to come up (time-out argument 10000 to the platform's
 *    readiness event). The first call of all also opens the bus connection. A bus connection that
 *    was lost is not made again, and none is made in a process that was forked from one that uses
 *    the library: every request then fails at once.
 * 5. Threads: any thread may call any function, also from a callback, except for what 6 forbids.
 * 6. Change callbacks run on the thread that iterates the GLib main context which was the
 *    thread-default one where the library was first called, and only while it is iterated. They
 *    run one after another under one lock: a callback may read the list and make requests, but
 *    must not register or unregister, which would deadlock, and should return soon.
 * 7. A source is named by its type, in the source service's numbering, and by its activity index
 *    (mbrActivityIndex), which tells apart several sources of one type.
 */
#ifndef SOURCE_API_C_H
#define SOURCE_API_C_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/** One source. The layout is part of the binary interface. Texts are UTF-8, and null only when
 * memory ran out. */
typedef struct sourceapi_source_item {
    int sourceType;       /**< in the service's numbering */
    char *editName;       /**< given by the user */
    char *detectedName;   /**< reported by the connected device */
    char *iconPath;       /**< empty when there is none */
    char *uniqueKey;      /**< identifies the source */
    char *osdText;        /**< on-screen text of the source type, "----" when unknown */
    bool connectionState; /**< a device is connected */
    int powerState;       /**< in the service's numbering */
    int mbrActivityIndex; /**< tells apart several sources of one type */
} sourceapi_source_item;

/** Receives one source: its source type as the key, the record, which it owns, and false. Runs on
 * the thread that called sourceapi_get_sourcelist(), with no lock held. */
typedef void (*sourceapi_sourcelist_cb)(int key, sourceapi_source_item *item, bool last);

/** Asks the service to connect the source of that type and unique key. True when it has done it. */
bool sourceapi_run_app(int sourceType, const char *uniqueKey);

/** Asks the service to switch the TV to a source. True when it has done it. */
bool sourceapi_connect(int sourceType);

/** The device type of a source. 0 when there is no such source, when the types could not be read,
 * or when it is 0. Served from a cache; asks the service only after a change of a name or a device
 * type, or a failed read. */
unsigned int sourceapi_get_source_device_type(int sourceType, int mbrActivityIndex);

/** Has callback(value, userData) called on every change of the source list; value is the service's
 * "result" number. The same pair may be registered several times. A null callback is refused with
 * a log line. Blocks while callbacks run on another thread. */
void sourceapi_register_source_api_cb(void (*callback)(int, void *), void *userData);

/** Removes the oldest registration with that user data, null included, whatever its function.
 * Blocks while callbacks run on another thread; when it returns, the removed registration is not
 * called any more. */
void sourceapi_unregister_source_api_cb(void *userData);

/** Calls callback once for each source, ordered by source type, before it returns. False, and no
 * call, when the list could not be read; false, after some of the calls, when memory ran out. The
 * first successful read asks the service; later ones are served from the cache. */
bool sourceapi_get_sourcelist(sourceapi_sourcelist_cb callback);

#ifdef __cplusplus
}
#endif

#endif
