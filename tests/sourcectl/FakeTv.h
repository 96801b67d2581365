// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SOURCECTL_FAKE_TV_H
#define TESTS_SOURCECTL_FAKE_TV_H

#include <string>

#include "ChildProgram.h"

// What the platform on this machine knows, without a source service: for tests that bring their
// own. The service counts as started, so that nobody waits for it.
class FakeTv {
 public:
    FakeTv();
    ~FakeTv();
    FakeTv(const FakeTv &) = delete;
    FakeTv &operator=(const FakeTv &) = delete;

    const std::string &root() const { return m_root; }
    ChildProgram::Environment environment() const;

    // The names of the sources, in the settings store.
    void setNames(const std::string &json) const;

 private:
    std::string m_root;
};

#endif
