// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "JsonText.h"

#include <array>
#include <atomic>
#include <memory>
#include <sstream>
#include <utility>

namespace source_api::internal {

namespace {

// Idle objects, kept for the next thread that needs one. Lock-free, and usable until the process
// has ended: there is no destructor that could run before the last request of another thread.
template <class Object>
class Pool {
 public:
    // Null when there is no idle object.
    std::unique_ptr<Object> take() {
        for (std::atomic<Object *> &slot : m_slots) {
            if (slot.load(std::memory_order_relaxed) == nullptr) {
                continue;
            }
            if (Object *const object = slot.exchange(nullptr)) {
                return std::unique_ptr<Object>(object);
            }
        }
        return nullptr;
    }

    // Deletes the object when all slots are occupied.
    void put(std::unique_ptr<Object> object) {
        for (std::atomic<Object *> &slot : m_slots) {
            Object *expected = nullptr;
            if (slot.compare_exchange_strong(expected, object.get())) {
                (void)object.release();
                return;
            }
        }
    }

 private:
    std::array<std::atomic<Object *>, 8> m_slots{};
};

struct Writer {
    // Without this, a stream that runs out of memory truncates the text silently.
    Writer() { stream.exceptions(std::ios_base::badbit); }

    const std::unique_ptr<Json::StreamWriter> writer{defaultWriterBuilder().newStreamWriter()};
    std::ostringstream stream;
};

constinit Pool<Json::CharReader> readers;
constinit Pool<Writer> writers;

std::string written(const Json::Value &value, const char *before, const char *after) {
    std::unique_ptr<Writer> writer = writers.take();
    if (!writer) {
        writer = std::make_unique<Writer>();
    }
    writer->stream << before;
    writer->writer->write(value, &writer->stream);
    writer->stream << after;
    // Moved, so that the memory of a long text does not stay in the pool. g++ 10 copies.
    std::string text = std::move(writer->stream).str();
    writer->stream.str(std::string());
    writers.put(std::move(writer));
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
    readers.put(std::move(reader));
    return read;
}

std::string jsonText(const Json::Value &value) {
    return written(value, "", "");
}

std::string styledText(const Json::Value &value) {
    return written(value, value.hasComment(Json::commentBefore) ? "\n" : "", "\n");
}

}  // namespace source_api::internal
