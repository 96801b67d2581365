// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SourceState.h"

#include <stdexcept>
#include <utility>

#include "DefaultTv.h"
#include "JsonText.h"
#include "Refusal.h"

namespace emulated_tv {

namespace {

SourceModel load(const std::filesystem::path &file) {
    const bool isKnown = std::filesystem::exists(file);
    const auto text = isKnown ? readFile(file) : std::optional<std::string>(defaultTv);
    const auto document = parseJson(text.value_or(""));
    try {
        if (document) {
            return SourceModel::fromJson(*document);
        }
    } catch (const Refusal &refusal) {
        throw std::runtime_error("cannot read " + file.string() + ": " + refusal.what());
    }
    throw std::runtime_error("cannot read " + file.string());
}

}  // namespace

SourceState::SourceState(const std::filesystem::path &root, const std::optional<SourceModel> &model)
    : m_file(root / "state.json"), m_settings(root), m_model(model ? *model : load(m_file)) {
    save(m_model);
}

std::optional<ListChange> SourceState::change(ListChange what,
                                              const std::function<void(SourceModel &)> &edit) {
    SourceModel changed = m_model;
    edit(changed);
    save(changed);
    const bool isOther = changed.list() != m_model.list();
    m_model = std::move(changed);
    return isOther ? std::optional(what) : std::nullopt;
}

void SourceState::save(const SourceModel &model) const {
    // The state goes last: names that it does not confirm are written anew at the next start.
    m_settings.set("db/source-list/source-name", jsonLine(model.names()));
    replaceFile(m_file, jsonDocument(model.toJson()));
}

}  // namespace emulated_tv
