/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* A C application of sourcelist-dotnet-api.h: uses every function once and prints what it got. */
#include <stdio.h>
#include <stdlib.h>

#include "sourcelist-dotnet-api.h"

static void changed(int value, void *userData) {
    printf("changed %d %s\n", value, (const char *)userData);
}

static void printAndFree(const char *what, char *text) {
    printf("%s %s\n", what, text != NULL ? text : "(none)");
    free(text);
}

int main(void) {
    char kept[] = "kept";
    char removed[] = "removed";
    register_sourcelist_changed_callback(changed, kept);
    register_sourcelist_changed_callback(changed, removed);
    unregister_sourcelist_changed_callback(removed);
    printAndFree("list", get_source_list());
    printAndFree("name", get_edit_name(7, 0));
    printAndFree("unknown name", get_edit_name(7, 5));
    printf("device type %u\n", get_device_type(7, 0));
    printAndFree("on screen", get_source_osd_text(3));
    printAndFree("unknown on screen", get_source_osd_text(-1));
    printf("connect %d\n", connect_source(3));
    printf("connect with key %d\n", connect_source_with_uniquekey(3, "hdmi"));
    printf("set name %d\n", set_edit_name(7, "Play", 0));
    printf("set device type %d\n", set_device_type(7, 4294967295U, 0));
    printf("set detected %d\n", set_source_detetedname_and_devicetype(7, "Box", 4, 0));
    printAndFree("usb", get_usb_data("stick"));
    return 0;
}
