#include "subprocess/JsonLineTree.h"

#include <fast_float/fast_float.h>
#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <cstring>

namespace ondemand = simdjson::ondemand;
using Node = JsonLineTree::Node;

namespace {

// Lines nested deeper than this are left to Qt's reader, which has a limit of its own.
constexpr int deepestNesting = 64;
// A longer line is left to Qt's reader too, so that one flood line doesn't keep the parser's buffers
// that size for the rest of the run.
constexpr qsizetype longestLine = 1 << 20;

std::string_view trimmedToken(std::string_view token) {
    while (!token.empty() &&
           (token.back() == ' ' || token.back() == '\t' || token.back() == '\n' || token.back() == '\r'))
        token.remove_suffix(1);
    return token;
}

// -?(0|[1-9][0-9]*)(.[0-9]+)?([eE][+-]?[0-9]+)?
bool isJsonNumber(std::string_view token) {
    const char* at = token.data();
    const char* const end = at + token.size();
    const auto digits = [&] {
        const char* const start = at;
        while (at != end && *at >= '0' && *at <= '9')
            ++at;
        return at - start;
    };
    if (at != end && *at == '-')
        ++at;
    if (at != end && *at == '0')
        ++at;
    else if (digits() == 0)
        return false;
    if (at != end && *at == '.') {
        ++at;
        if (digits() == 0)
            return false;
    }
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        if (at != end && (*at == '+' || *at == '-'))
            ++at;
        if (digits() == 0)
            return false;
    }
    return at == end;
}

// Qt's reader keeps a number without a fraction or an exponent that fits in 64 bits as an integer
// (so "-0" is the integer 0), reads every other number as a double, keeps a whole double as an integer
// too (so -0.0 loses its sign), and refuses a number that overflows, or that underflows to zero from a
// mantissa that isn't zero. A double's value comes from fast_float: simdjson 3.0 misreads some
// mantissas of twenty digits.
bool readNumber(ondemand::value& value, Node& node) {
    const std::string_view token = trimmedToken(value.raw_json_token());
    const auto fractionOrExponent =
        std::find_if(token.begin(), token.end(), [](char c) { return c == '.' || c == 'e' || c == 'E'; });
    if (fractionOrExponent == token.end()) {
        int64_t integer = 0;
        if (!value.get_int64().get(integer)) {
            node.type = Node::Type::integer;
            node.integer = integer;
            return true;
        }
    }
    if (!isJsonNumber(token))
        return false;
    double number = 0;
    const auto [end, error] = fast_float::from_chars(token.data(), token.data() + token.size(), number);
    if (error != std::errc() || end != token.data() + token.size() || !std::isfinite(number))
        return false;
    if (number == 0) {
        const auto exponent =
            std::find_if(token.begin(), token.end(), [](char c) { return c == 'e' || c == 'E'; });
        if (std::any_of(token.begin(), exponent, [](char c) { return c >= '1' && c <= '9'; }))
            return false;
        number = 0; // without the sign
    }
    node.type = Node::Type::number;
    node.number = number;
    return true;
}

// Appends the node of `value` and of everything inside it; false for anything the tree doesn't vouch
// for.
bool readValue(ondemand::value value, std::vector<Node>& nodes, std::string_view key, int depth) {
    const size_t index = nodes.size();
    nodes.emplace_back();
    nodes[index].key = key;
    ondemand::json_type type;
    if (value.type().get(type))
        return false;
    switch (type) {
    case ondemand::json_type::null: {
        bool isNull = false;
        if (value.is_null().get(isNull) || !isNull)
            return false;
        break;
    }
    case ondemand::json_type::boolean:
        nodes[index].type = Node::Type::boolean;
        if (value.get_bool().get(nodes[index].boolean))
            return false;
        break;
    case ondemand::json_type::number:
        if (!readNumber(value, nodes[index]))
            return false;
        break;
    case ondemand::json_type::string:
        nodes[index].type = Node::Type::string;
        if (value.get_string().get(nodes[index].text))
            return false;
        break;
    case ondemand::json_type::array: {
        if (depth >= deepestNesting)
            return false;
        nodes[index].type = Node::Type::array;
        ondemand::array array;
        if (value.get_array().get(array))
            return false;
        for (auto element : array) {
            ondemand::value elementValue;
            if (element.get(elementValue) || !readValue(elementValue, nodes, {}, depth + 1))
                return false;
        }
        break;
    }
    case ondemand::json_type::object: {
        if (depth >= deepestNesting)
            return false;
        nodes[index].type = Node::Type::object;
        ondemand::object object;
        if (value.get_object().get(object))
            return false;
        for (auto field : object) {
            std::string_view memberKey;
            ondemand::value memberValue;
            if (field.unescaped_key().get(memberKey) || field.value().get(memberValue) ||
                !readValue(memberValue, nodes, memberKey, depth + 1))
                return false;
        }
        break;
    }
    }
    nodes[index].end = quint32(nodes.size());
    return true;
}

} // namespace

struct JsonLineTree::Parser {
    ondemand::parser parser;
};

JsonLineTree::JsonLineTree()
    : m_parser(std::make_unique<Parser>()) {}

JsonLineTree::~JsonLineTree() = default;

bool JsonLineTree::read(QByteArrayView line) {
    m_nodes.clear();
    if (line.size() > longestLine)
        return false;
    // simdjson reads a few bytes past the end of its input.
    const size_t size = size_t(line.size());
    if (m_padded.size() < size + simdjson::SIMDJSON_PADDING)
        m_padded.resize(size + simdjson::SIMDJSON_PADDING);
    std::memcpy(m_padded.data(), line.data(), size);

    ondemand::document document;
    if (m_parser->parser.iterate(m_padded.data(), size, m_padded.size()).get(document))
        return false;
    ondemand::value value;
    if (document.get_value().get(value) || !readValue(value, m_nodes, {}, 0) ||
        m_nodes[root].type != Node::Type::object)
        return false;
    // Anything after the object breaks the line.
    return document.current_location().error() == simdjson::OUT_OF_BOUNDS;
}

quint32 JsonLineTree::member(quint32 object, std::string_view key) const {
    quint32 found = 0;
    for (quint32 child = firstChild(object); child < m_nodes[object].end; child = m_nodes[child].end) {
        // Most keys differ in length or in their first byte: no call to compare those.
        const std::string_view candidate = m_nodes[child].key;
        if (candidate.size() == key.size() && (key.empty() || candidate[0] == key[0]) && candidate == key)
            found = child;
    }
    return found;
}
