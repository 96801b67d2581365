/* SPDX-FileCopyrightText: The source-api authors */
/* SPDX-License-Identifier: Apache-2.0 */

/* Where a C compiler puts the fields of a source record. */
#ifndef TESTS_RECORD_LAYOUT_H
#define TESTS_RECORD_LAYOUT_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The offsets of the nine fields in their order, and the size of the whole. */
extern const size_t recordLayout[10];

#ifdef __cplusplus
}
#endif

#endif
