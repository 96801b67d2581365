// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// A small interface, and what may happen to one in a later version.
#ifndef ABI_VARIANTS_SHOP_H
#define ABI_VARIANTS_SHOP_H

#include <string>

struct Article {
#ifdef TEXTS_SWAPPED
    std::string maker;
    std::string name;
#else
    std::string name;
    std::string maker;
#endif
};

struct Price {
#ifdef RECORD_CHANGED
    char currency;
#endif
    int amount;
    bool isNet;
};

class Shop {
 public:
#ifdef SLOT_ORDER_CHANGED
    virtual void close();
    virtual void open();
#else
    virtual void open();
    virtual void close();
#endif
    virtual ~Shop();
};

std::string label(const Article &article);
extern "C" bool pay(Price *price);
#ifndef SYMBOL_LOST
extern "C" bool payBack(Price *price);
#endif
#ifdef SYMBOL_ADDED
extern "C" bool payLater(Price *price);
#endif

#endif
