// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SOURCE_STORE_H
#define EMULATED_TV_SOURCE_STORE_H

#include <filesystem>
#include <functional>
#include <optional>

#include "SettingsStore.h"
#include "SourceModel.h"

namespace emulated_tv {

// The "result" of a change signal.
enum class ListChange : int {
    Plugged = 1,
    Unplugged = 2,
    Described = 3,
    Power = 4,
    Icon = 5,
};

// The sources of a new TV, also as JSON text in the form of SourceModel::toJson.
extern const char *const defaultTv;
SourceModel defaultSources();

// The TV's sources, saved in its root folder at each change.
class SourceStore {
 public:
    // Starts with the given sources, else with those saved in the root, else with the default
    // ones. Throws std::runtime_error if the saved ones cannot be read or nothing can be written.
    explicit SourceStore(const std::filesystem::path &root,
                         const std::optional<SourceModel> &model = std::nullopt);

    const SourceModel &model() const { return m_model; }

    // Applies a change and saves it to disk. Returns `what` if the list has changed, which must be
    // announced, otherwise nothing. If it throws (Refusal from the edit, std::runtime_error if
    // saving fails) the sources are unchanged.
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
