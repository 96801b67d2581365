// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#ifndef EMULATED_TV_SCHEMA_CHECK_H
#define EMULATED_TV_SCHEMA_CHECK_H

#include <json/json.h>

#include <cstddef>
#include <string>
#include <vector>

namespace emulated_tv {

struct Mistake {
    // In the document's text.
    std::ptrdiff_t offset;
    std::string what;
};

// Validates a document against a JSON schema and keeps the position of each mistake. Supports
// "type", "properties", "required", "additionalProperties": false, "items", "enum", "minimum",
// "maximum", "$ref" into "definitions", "not" with "required", and "oneOf" whose branches differ in
// a "const" member.
class SchemaCheck {
 public:
    explicit SchemaCheck(const Json::Value &schema) : m_schema(schema) {}

    // In the order of the text.
    std::vector<Mistake> mistakesIn(const Json::Value &document);

 private:
    void check(const Json::Value &value, const Json::Value &given, const std::string &name);
    const Json::Value &resolved(const Json::Value &schema) const;
    void checkObject(const Json::Value &object, const Json::Value &schema, const std::string &name);
    void checkBranches(const Json::Value &object, const Json::Value &branches,
                       const std::string &name);
    void checkRange(const Json::Value &number, const Json::Value &schema, const std::string &name);
    void add(const Json::Value &where, const std::string &what);

    const Json::Value &m_schema;
    std::vector<Mistake> m_mistakes;
};

}  // namespace emulated_tv

#endif
