// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

// The parts of the binary interface besides names: the order of members and of virtual functions.
#ifndef TESTS_OBJECT_LAYOUT_H
#define TESTS_OBJECT_LAYOUT_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>

#include <algorithm>
#include <string>
#include <vector>

// Whether the members lie in the order given. Ex.: areInOrder(&data.m_Message, &data.m_Error).
template <class... Members>
bool areInOrder(const Members *...members) {
    const std::vector<const char *> places{reinterpret_cast<const char *>(members)...};
    return std::is_sorted(places.begin(), places.end()) &&
           std::adjacent_find(places.begin(), places.end()) == places.end();
}

// Expects the virtual functions of `object` to be exactly these, in this order, given by their
// mangled names.
template <class Class>
void expectVirtualOperations(const Class &object, const std::vector<const char *> &names) {
    const auto *const slots = *reinterpret_cast<void *const *const *>(&object);
    for (std::size_t slot = 0; slot < names.size(); ++slot) {
        void *const expected = dlsym(RTLD_DEFAULT, names[slot]);
        ASSERT_NE(expected, nullptr) << names[slot];
        EXPECT_EQ(slots[slot], expected) << "slot " << slot << " is not " << names[slot];
    }
    Dl_info place{};
    void *entry = nullptr;
    ASSERT_NE(dladdr1(slots, &place, &entry, RTLD_DL_SYMENT), 0);
    // The offset to the top and the type information stand before the slots.
    EXPECT_EQ(static_cast<const ElfW(Sym) *>(entry)->st_size, (names.size() + 2) * sizeof(void *));
}

#endif
