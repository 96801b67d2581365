/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A C application of source_api.h: uses every function once and prints what it got. */
#include <stdio.h>
#include <stdlib.h>

#include "source_api.h"

static void changed(int value, void *userData) {
    printf("changed %d %s\n", value, (const char *)userData);
}

static void printAndFree(int key, sourceapi_source_item *item, bool last) {
    printf("%d: %d '%s' '%s' '%s' '%s' '%s' %d %d %d %d\n", key, item->sourceType, item->editName,
           item->detectedName, item->iconPath, item->uniqueKey, item->osdText,
           item->connectionState, item->powerState, item->mbrActivityIndex, last);
    free(item->editName);
    free(item->detectedName);
    free(item->iconPath);
    free(item->uniqueKey);
    free(item->osdText);
    free(item);
}

int main(void) {
    char data[] = "data";
    sourceapi_register_source_api_cb(changed, data);
    printf("list %d\n", sourceapi_get_sourcelist(printAndFree));
    sourceapi_unregister_source_api_cb(data);
    printf("device type %u\n", sourceapi_get_source_device_type(7, 0));
    printf("unknown device type %u\n", sourceapi_get_source_device_type(7, 5));
    printf("connect %d\n", sourceapi_connect(3));
    printf("run app %d\n", sourceapi_run_app(3, "hdmi"));
    return 0;
}
