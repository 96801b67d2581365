/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

#include "RecordLayout.h"

/* Written out on purpose: a change of the public record must not change this one. */
struct Record {
    int sourceType;
    char *editName;
    char *detectedName;
    char *iconPath;
    char *uniqueKey;
    char *osdText;
    _Bool connectionState;
    int powerState;
    int mbrActivityIndex;
};

const size_t recordLayout[10] = {
    offsetof(struct Record, sourceType),       offsetof(struct Record, editName),
    offsetof(struct Record, detectedName),     offsetof(struct Record, iconPath),
    offsetof(struct Record, uniqueKey),        offsetof(struct Record, osdText),
    offsetof(struct Record, connectionState),  offsetof(struct Record, powerState),
    offsetof(struct Record, mbrActivityIndex), sizeof(struct Record)};
