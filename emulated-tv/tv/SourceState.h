// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_STATE_H
#define EMULATED_TV_SOURCE_STATE_H

#include <filesystem>
#include <functional>
#include <optional>

#include "SettingsStore.h"
#include "SourceModel.h"

namespace emulated_tv {

// What a change signal says has happened: the "result" that applications are told.
enum class ListChange : int {
    Plugged = 1,
    Unplugged = 2,
    Described = 3,
    Power = 4,
    Icon = 5,
};

// The TV's sources, kept in its root folder so that they outlive the emulator.
class SourceState {
 public:
    // Begins with the given sources, else goes on from what the root holds, or starts with a new
    // TV. Throws std::runtime_error when what it holds cannot be read, or nothing can be written
    // there.
    explicit SourceState(const std::filesystem::path &root,
                         const std::optional<SourceModel> &model = std::nullopt);

    const SourceModel &model() const { return m_model; }

    // Makes a change that is on the disk when this returns. The result is what must be announced:
    // `what` when the list is another one now, otherwise nothing. When it throws (Refusal from
    // the edit, or std::runtime_error when nothing can be written) the sources are as before.
    std::optional<ListChange> change(ListChange what,
                                     const std::function<void(SourceModel &)> &edit);

 private:
    void save(const SourceModel &model) const;

    std::filesystem::path m_file;
    SettingsStore m_settings;
    SourceModel m_model;
};

}  // namespace emulated_tv

#endif
