/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

/** \file
 * The functions of sourcelist-dotnet-api.h for runtimes that no C++ exception may cross.
 *
 * 1. Each function is the one of that header without the prefix: what it does, how long it blocks,
 *    on which thread it calls back and what a callback must not do is said there.
 * 2. Errors: where an exception leaves that function, as it does for values of wrong types in the
 *    settings store, *error becomes its text and the result is null, 0 or false. Otherwise *error
 *    becomes null. `error` itself must not be null.
 * 3. Memory: guarded_release() releases every text that is returned, and *error.
 * 4. Nulls: a null text argument is such an error.
 * 5. Threads: any thread may call any function. A callback must not throw; it is called through
 *    frames of C.
 */
#ifndef SOURCE_API_GUARD_H
#define SOURCE_API_GUARD_H

#include <stdbool.h>

#ifdef __cplusplus
extern "C" {
#endif

char *guarded_get_source_list(char **error);

char *guarded_get_usb_data(const char *uniqueKey, char **error);

char *guarded_get_edit_name(int sourceType, int mbrActivityIndex, char **error);

unsigned int guarded_get_device_type(int sourceType, int mbrActivityIndex, char **error);

bool guarded_set_edit_name(int sourceType, const char *editName, int mbrActivityIndex,
                           char **error);

bool guarded_set_device_type(int sourceType, unsigned int deviceType, int mbrActivityIndex,
                             char **error);

bool guarded_connect_source(int sourceType, char **error);

bool guarded_connect_source_with_uniquekey(int sourceType, const char *uniqueKey, char **error);

void guarded_register_sourcelist_changed_callback(void (*callback)(int, void *), void *userData,
                                                  char **error);

void guarded_unregister_sourcelist_changed_callback(void *userData, char **error);

char *guarded_get_source_osd_text(int sourceType, char **error);

bool guarded_set_source_detetedname_and_devicetype(int sourceType, const char *detectedName,
                                                   unsigned int deviceType, int mbrActivityIndex,
                                                   char **error);

/** Releases a text that one of the above has handed out; null is harmless. */
void guarded_release(void *text);

#ifdef __cplusplus
}
#endif

#endif
