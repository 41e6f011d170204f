#pragma once

#include <QByteArrayView>
#include <QtGlobal>

#include <memory>
#include <string_view>
#include <vector>

// One line of JSON read with simdjson into a small flat tree that the event decoder looks keys up in.
// The tree only vouches for lines whose every value Qt's JSON reader would read to the very same
// value; read() refuses all others (broken JSON, numbers that Qt rejects or spells differently, lone
// surrogates, unusual escapes, deep nesting), and the caller then asks Qt's reader, which is the rule.
class JsonLineTree {
public:
    JsonLineTree();
    ~JsonLineTree();

    struct Node {
        enum class Type : quint8 { null, boolean, integer, number, string, array, object };
        Type type = Type::null;
        bool boolean = false;
        qint64 integer = 0;
        double number = 0;
        std::string_view text; // a string's unescaped UTF-8
        std::string_view key;  // the key of an object's member
        quint32 end = 0;       // the index past this node's subtree: its next sibling
    };

    // Reads a line that holds one JSON object; false when the line is not one that the tree vouches
    // for. The nodes stay valid until the next read.
    bool read(QByteArrayView line);

    const Node& node(quint32 index) const { return m_nodes[index]; }
    // The root object's index.
    static constexpr quint32 root = 0;

    // The last member of an object under `key`, as Qt keeps the last of duplicate keys; 0 when there
    // is none (the root is never a member).
    quint32 member(quint32 object, std::string_view key) const;
    // The first child of an array or an object; each child's `end` is the next one, up to the
    // container's own `end`.
    quint32 firstChild(quint32 container) const { return container + 1; }

private:
    struct Parser;

    std::unique_ptr<Parser> m_parser;
    std::vector<Node> m_nodes;
    std::vector<char> m_padded;
};
