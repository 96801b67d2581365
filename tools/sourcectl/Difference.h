// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef SOURCECTL_DIFFERENCE_H
#define SOURCECTL_DIFFERENCE_H

#include <vector>

#include "SourceList.h"

struct SourceChange {
    CSourceItem before;
    CSourceItem after;
};

// What happened between two readings of the list. The order of the sources is no difference.
struct Difference {
    SourceList added;
    SourceList removed;
    std::vector<SourceChange> changed;

    bool isEmpty() const { return added.empty() && removed.empty() && changed.empty(); }
};

// A source is the same in both lists when its unique key is, or, for one without a key, its type
// and index. Several with one identity are told apart by their order.
Difference differenceBetween(const SourceList &before, const SourceList &after);

#endif
