// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "shop.h"

void Shop::open() {}
void Shop::close() {}
Shop::~Shop() {}

std::string label(const Article &article) {
    return article.maker + article.name;
}
bool pay(Price *price) {
    return price->amount > 0;
}
#ifndef SYMBOL_LOST
bool payBack(Price *price) {
    return price->amount < 0;
}
#endif
#ifdef SYMBOL_ADDED
bool payLater(Price *price) {
    return price->isNet;
}
#endif
