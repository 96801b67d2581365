// SPDX-FileCopyrightText: The source-api authors
// SPDX-License-Identifier: Apache-2.0

#include "SchemaCheck.h"

#include <algorithm>
#include <map>

#include "TerminalText.h"

namespace emulated_tv {

namespace {

struct Type {
    const char *name;
    bool (Json::Value::*isType)() const;
};
const std::map<std::string, Type> &types() {
    static const std::map<std::string, Type> known = {
        {"object", {"an object", &Json::Value::isObject}},
        {"array", {"a list", &Json::Value::isArray}},
        {"string", {"a text", &Json::Value::isString}},
        {"integer", {"a whole number", &Json::Value::isIntegral}},
        {"boolean", {"true or false", &Json::Value::isBool}},
    };
    return known;
}

std::string quoted(const std::string &name) {
    return '"' + name + '"';
}

// Quoted as in JSON.
std::string listed(const std::vector<std::string> &words, const char *between) {
    std::string list;
    for (const std::string &word : words) {
        list += (list.empty() ? "" : between) + quoted(word);
    }
    return list;
}

std::vector<std::string> wordsOf(const Json::Value &list) {
    std::vector<std::string> words;
    for (const Json::Value &word : list) {
        words.push_back(word.asString());
    }
    return words;
}

// The member whose value selects the branch.
std::string selectorOf(const Json::Value &branch) {
    const Json::Value &properties = branch["properties"];
    for (const std::string &name : properties.getMemberNames()) {
        if (properties[name].isMember("const")) {
            return name;
        }
    }
    return "";
}

}  // namespace

std::vector<Mistake> SchemaCheck::mistakesIn(const Json::Value &document) {
    m_mistakes.clear();
    check(document, m_schema, "the document");
    std::stable_sort(m_mistakes.begin(), m_mistakes.end(),
                     [](const Mistake &a, const Mistake &b) { return a.offset < b.offset; });
    return m_mistakes;
}

void SchemaCheck::check(const Json::Value &value, const Json::Value &given,
                        const std::string &name) {
    const Json::Value &schema = resolved(given);
    if (schema.isMember("type")) {
        const Type &type = types().at(schema["type"].asString());
        if (!(value.*type.isType)()) {
            add(value, name + " must be " + type.name);
            return;
        }
    }
    const Json::Value &allowed = schema["enum"];
    if (!allowed.isNull() && std::find(allowed.begin(), allowed.end(), value) == allowed.end()) {
        add(value, name + " must be one of " + listed(wordsOf(allowed), ", "));
    }
    if (value.isObject()) {
        checkObject(value, schema, name);
    } else if (value.isArray()) {
        for (const Json::Value &element : value) {
            check(element, schema["items"], "an element of " + name);
        }
    } else if (value.isString() && !support::isUtf8(value.asString())) {
        add(value, name + " is not a valid text");
    } else if (value.isNumeric()) {
        checkRange(value, schema, name);
    }
}

// The schema, or the one that it refers to.
const Json::Value &SchemaCheck::resolved(const Json::Value &schema) const {
    static const std::string place = "#/definitions/";
    const std::string reference = schema.get("$ref", "").asString();
    return reference.empty() ? schema : m_schema["definitions"][reference.substr(place.size())];
}

void SchemaCheck::checkObject(const Json::Value &object, const Json::Value &schema,
                              const std::string &name) {
    const Json::Value &properties = schema["properties"];
    for (const std::string &member : object.getMemberNames()) {
        if (properties.isMember(member)) {
            check(object[member], properties[member], quoted(member));
        } else if (schema["additionalProperties"] == false) {
            add(object[member], "unknown member " + quoted(member) + "; there can be " +
                                    listed(properties.getMemberNames(), ", "));
        }
    }
    for (const std::string &member : wordsOf(schema["required"])) {
        if (!object.isMember(member)) {
            add(object, quoted(member) + " is missing in " + name);
        }
    }
    const std::vector<std::string> excluding = wordsOf(schema["not"]["required"]);
    if (!excluding.empty() &&
        std::all_of(excluding.begin(), excluding.end(),
                    [&](const std::string &member) { return object.isMember(member); })) {
        add(object[excluding.back()], listed(excluding, " and ") + " cannot both be given");
    }
    checkBranches(object, schema["oneOf"], name);
}

void SchemaCheck::checkBranches(const Json::Value &object, const Json::Value &branches,
                                const std::string &name) {
    std::string selector;
    std::vector<std::string> choices;
    for (const Json::Value &branch : branches) {
        selector = selectorOf(branch);
        const Json::Value &choice = branch["properties"][selector]["const"];
        if (object[selector] == choice) {
            checkObject(object, branch, name);
            return;
        }
        choices.push_back(choice.asString());
    }
    // A missing one was reported as a missing required member.
    if (object.isMember(selector)) {
        add(object[selector], quoted(selector) + " must be one of " + listed(choices, ", "));
    }
}

void SchemaCheck::checkRange(const Json::Value &number, const Json::Value &schema,
                             const std::string &name) {
    if (schema.isMember("minimum") && (number.asDouble() < schema["minimum"].asDouble() ||
                                       number.asDouble() > schema["maximum"].asDouble())) {
        add(number, name + " must be from " + schema["minimum"].asString() + " to " +
                        schema["maximum"].asString());
    }
}

void SchemaCheck::add(const Json::Value &where, const std::string &what) {
    m_mistakes.push_back({where.getOffsetStart(), what});
}

}  // namespace emulated_tv
