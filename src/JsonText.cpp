// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "JsonText.h"

#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "Mutex.h"

namespace {

// Tools that nobody uses at the moment: at most as many as threads have ever come at once. Who
// fails does not put his tool back.
template <class Tool>
class Shelf {
 public:
    // Empty when all are in use.
    std::unique_ptr<Tool> take() EXCLUDES(m_mutex) {
        const MutexLock lock(m_mutex);
        if (m_tools.empty()) {
            return nullptr;
        }
        std::unique_ptr<Tool> tool = std::move(m_tools.back());
        m_tools.pop_back();
        return tool;
    }

    void putBack(std::unique_ptr<Tool> tool) EXCLUDES(m_mutex) {
        const MutexLock lock(m_mutex);
        m_tools.push_back(std::move(tool));
    }

 private:
    Mutex m_mutex;
    std::vector<std::unique_ptr<Tool>> m_tools GUARDED_BY(m_mutex);
};

struct Writer {
    const std::unique_ptr<Json::StreamWriter> writer{defaultWriterBuilder().newStreamWriter()};
    std::ostringstream stream;
};

// Never destroyed: a request on another thread may still end after the process has begun to exit.
Shelf<Json::CharReader> &readers = *new Shelf<Json::CharReader>;
Shelf<Writer> &writers = *new Shelf<Writer>;

std::string written(const Json::Value &value, const char *before, const char *after) {
    std::unique_ptr<Writer> tool = writers.take();
    if (!tool) {
        tool = std::make_unique<Writer>();
    }
    tool->stream << before;
    tool->writer->write(value, &tool->stream);
    tool->stream << after;
    const bool reusable = tool->stream.good();
    // Moved out: a long text's memory does not stay on the shelf. g++ 10 copies it instead.
    std::string text = std::move(tool->stream).str();
    tool->stream.str(std::string());
    if (reusable) {
        writers.putBack(std::move(tool));
    }
    return text;
}

}  // namespace

const Json::StreamWriterBuilder &defaultWriterBuilder() {
    static const auto &builder = *new Json::StreamWriterBuilder;
    return builder;
}

bool readJson(const std::string &text, Json::Value &root, std::string *errors) {
    static const auto &builder = *new Json::CharReaderBuilder;
    std::unique_ptr<Json::CharReader> reader = readers.take();
    if (!reader) {
        reader.reset(builder.newCharReader());
    }
    const bool read = reader->parse(text.data(), text.data() + text.size(), &root, errors);
    readers.putBack(std::move(reader));
    return read;
}

std::string jsonText(const Json::Value &value) {
    return written(value, "", "");
}

std::string styledText(const Json::Value &value) {
    return written(value, value.hasComment(Json::commentBefore) ? "\n" : "", "\n");
}
