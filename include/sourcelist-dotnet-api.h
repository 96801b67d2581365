/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** \file
 * The source list for plain C and for managed-language bindings.
 *
 * 1. Failures show as results: false, a null pointer, or a device type of 0. A false result covers
 *    a refusal by the source service as well as a service that could not be reached; the
 *    platform's log (tag "SOURCE_API") shows which. There are no error codes.
 * 2. Memory: every returned text is a heap copy in UTF-8 that the caller releases with free().
 *    No pointer that was passed in is kept, except a callback and its user data.
 * 3. Nulls: a null text argument raises a C++ exception (std::logic_error), which ends a C
 *    program. get_usb_data() is no exception to this. A C++ exception also leaves any function
 *    that reads the settings store when that holds values of wrong types: the first call of all,
 *    get_source_list(), get_edit_name() and get_device_type().
 * 4. Time: functions that ask the service block until it answers, at most for the bus's default
 *    time-out (25 seconds) for each of two bus calls, and fail at once when the service is not on
 *    the bus. A get_source_list(), get_edit_name() or get_device_type() that has to fetch the list
 *    also waits for the service to come up (time-out argument 10000 to the platform's readiness
 *    event). The first call of all also opens the bus connection. A bus connection that was lost
 *    is not made again, and none is made in a process that was forked from one that uses the
 *    library: every request then fails at once.
 * 5. Threads: any thread may call any function, also from a callback, except for what 6 forbids.
 * 6. Change callbacks run on the thread that iterates the GLib main context which was the
 *    thread-default one where the library was first called, and only while it is iterated; those
 *    of a first load run on the thread that called get_source_list(). They run one after another
 *    under one lock: a callback may read the list and make requests, but must not register or
 *    unregister, which would deadlock, and should return soon.
 * 7. A source is named by its type, in the source service's numbering, and by its activity index
 *    (mbrActivityIndex), which tells apart several sources of one type.
 */
#ifndef SOURCELIST_DOTNET_API_H
#define SOURCELIST_DOTNET_API_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The source list as one line of JSON: an array with one object for each source, with the members
 * sourceType, editName, detectedName (both percent-encoded), iconPath, uniqueKey, connectionState,
 * powerState, mbrActivityIndex, settingMethod. Null when it could not be read. The first successful
 * read asks the service and calls all registered callbacks with 0; later ones do not block. */
char *get_source_list(void);

/** What the service knows of the USB device with that unique key: its whole answer as indented
 * JSON. Null when the service refused or could not be reached. */
char *get_usb_data(const char *uniqueKey);

/** The name of a source: the user's, else the detected one. Null when there is no such source or
 * the names could not be read. Served from a cache; asks the service only after a change of a
 * name or a device type, or a failed read. */
char *get_edit_name(int sourceType, int mbrActivityIndex);

/** The device type of a source. 0 when there is no such source, when the types could not be read,
 * or when it is 0. Blocks as get_edit_name() does. */
unsigned int get_device_type(int sourceType, int mbrActivityIndex);

/** Asks the service to set the user's name of a source; empty is a name too. True when it has done
 * it.
 */
bool set_edit_name(int sourceType, const char *editName, int mbrActivityIndex);

/** Asks the service to set the device type of a source, in the service's numbering. True when it
 * has done it. */
bool set_device_type(int sourceType, unsigned int deviceType, int mbrActivityIndex);

/** Asks the service to switch the TV to a source. True when it has done it. */
bool connect_source(int sourceType);

/** Asks the service to connect the source of that type and unique key. True when it has done it. */
bool connect_source_with_uniquekey(int sourceType, const char *uniqueKey);

/** Has callback(value, userData) called on every change of the source list; value is the service's
 * "result" number, or 0 for the first load. The same pair may be registered several times. A null
 * callback is refused with a log line. Blocks while callbacks run on another thread. */
void register_sourcelist_changed_callback(void (*callback)(int, void *), void *userData);

/** Removes the oldest registration with that user data, null included, whatever its function.
 * Blocks while callbacks run on another thread; when it returns, the removed registration is not
 * called any more. */
void unregister_sourcelist_changed_callback(void *userData);

/** The platform's on-screen text of a source type, "----" when it does not know the type. Does not
 * ask the service. */
char *get_source_osd_text(int sourceType);

/** Asks the service to set the name and device type detected for a source. True when it has done
 * it. The spelling is part of the binary interface. */
bool set_source_detetedname_and_devicetype(int sourceType, const char *detectedName,
                                           unsigned int deviceType, int mbrActivityIndex);

#ifdef __cplusplus
}
#endif

#endif
