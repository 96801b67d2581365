/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

#include <source_api.h>
#include <sourcelist-dotnet-api.h>
#include <stdio.h>
#include <stdlib.h>

static int count;

static void show(int type, sourceapi_source_item *source, bool last) {
    (void)last;
    ++count;
    printf("%d %s\n", type, source->osdText);
    free(source->editName);
    free(source->detectedName);
    free(source->iconPath);
    free(source->uniqueKey);
    free(source->osdText);
    free(source);
}

int main(void) {
    char *name = get_edit_name(1, 0);
    const int named = name != NULL && puts(name) >= 0;
    free(name);
    return named && sourceapi_get_sourcelist(show) && count > 0 && connect_source(4) ? 0 : 1;
}
