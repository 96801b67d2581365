// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "FakeTv.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "ReadinessEvent.h"
#include "SettingsStore.h"
#include "TvRoot.h"

FakeTv::FakeTv() {
    g_autofree char *root = g_dir_make_tmp("fake-tv-XXXXXX", nullptr);
    EXPECT_NE(root, nullptr);
    m_root = root;
    ReadinessEvent(m_root, "/tmp/source_service_ready").set();
}

FakeTv::~FakeTv() {
    std::error_code ignored;
    std::filesystem::remove_all(m_root, ignored);
}

ChildProgram::Environment FakeTv::environment() const {
    return {{tvRootVariable, m_root}};
}

void FakeTv::setNames(const std::string &json) const {
    SettingsStore(m_root).set("db/source-list/source-name", json);
}
