// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "source-api-guard.h"

#include <cstdlib>
#include <cstring>
#include <exception>

#include "sourcelist-dotnet-api.h"

namespace {

template <typename Result, typename... Parameters, typename... Arguments>
Result guarded(char **error, Result (*function)(Parameters...), Arguments... arguments) {
    *error = nullptr;
    try {
        return function(arguments...);
    } catch (const std::exception &exception) {
        *error = strdup(exception.what());
        return Result();
    }
}

}  // namespace

extern "C" {

char *guarded_get_source_list(char **error) {
    return guarded(error, get_source_list);
}

char *guarded_get_usb_data(const char *uniqueKey, char **error) {
    return guarded(error, get_usb_data, uniqueKey);
}

char *guarded_get_edit_name(int sourceType, int mbrActivityIndex, char **error) {
    return guarded(error, get_edit_name, sourceType, mbrActivityIndex);
}

unsigned int guarded_get_device_type(int sourceType, int mbrActivityIndex, char **error) {
    return guarded(error, get_device_type, sourceType, mbrActivityIndex);
}

bool guarded_set_edit_name(int sourceType, const char *editName, int mbrActivityIndex,
                           char **error) {
    return guarded(error, set_edit_name, sourceType, editName, mbrActivityIndex);
}

bool guarded_set_device_type(int sourceType, unsigned int deviceType, int mbrActivityIndex,
                             char **error) {
    return guarded(error, set_device_type, sourceType, deviceType, mbrActivityIndex);
}

bool guarded_connect_source(int sourceType, char **error) {
    return guarded(error, connect_source, sourceType);
}

bool guarded_connect_source_with_uniquekey(int sourceType, const char *uniqueKey, char **error) {
    return guarded(error, connect_source_with_uniquekey, sourceType, uniqueKey);
}

void guarded_register_sourcelist_changed_callback(void (*callback)(int, void *), void *userData,
                                                  char **error) {
    guarded(error, register_sourcelist_changed_callback, callback, userData);
}

void guarded_unregister_sourcelist_changed_callback(void *userData, char **error) {
    guarded(error, unregister_sourcelist_changed_callback, userData);
}

char *guarded_get_source_osd_text(int sourceType, char **error) {
    return guarded(error, get_source_osd_text, sourceType);
}

bool guarded_set_source_detetedname_and_devicetype(int sourceType, const char *detectedName,
                                                   unsigned int deviceType, int mbrActivityIndex,
                                                   char **error) {
    return guarded(error, set_source_detetedname_and_devicetype, sourceType, detectedName,
                   deviceType, mbrActivityIndex);
}

void guarded_release(void *text) {
    std::free(text);
}

}  // extern "C"
