// SPDX-License-Identifier: LicenseRef-Quillmount
#include "DriveQuery.h"

#include "GoogleStandIn/ApiError.h"
#include "GoogleStandIn/TimeText.h"

using namespace Qt::StringLiterals;

namespace quillmount::standin {

struct DriveQuery::Node {
    enum class Kind {
        allOf,
        anyOf,
        noneOf,
        parent,
        name,
        nameContains,
        mime,
        mimeContains,
        trashed,
        modified,
        created
    };
    enum class Relation { equal, notEqual, less, lessOrEqual, greater, greaterOrEqual };
    using Pointer = std::shared_ptr<const Node>;

    Kind kind = Kind::allOf;
    Relation relation = Relation::equal;
    QString text = {};
    qint64 time = 0;
    Pointer left = {};
    Pointer right = {};
};

namespace {
using Node = DriveQuery::Node;
using Kind = Node::Kind;
using Relation = Node::Relation;

ApiError invalid() {
    return {400, u"invalid"_s, u"Invalid Value"_s, u"q"_s};
}

// Recursive descent over "or" / "and" / "not" / term, in the order in which they bind.
class Parser {
public:
    explicit Parser(const QString &text)
        : m_text(text) {}

    Node::Pointer whole() {
        Node::Pointer node = alternatives();
        skipSpaces();
        if (m_at != m_text.size())
            throw invalid();
        return node;
    }

private:
    void skipSpaces() {
        while (m_at < m_text.size() && m_text[m_at].isSpace())
            ++m_at;
    }

    bool take(QChar c) {
        skipSpaces();
        if (m_at >= m_text.size() || m_text[m_at] != c)
            return false;
        ++m_at;
        return true;
    }

    QString peekWord() {
        skipSpaces();
        qsizetype end = m_at;
        while (end < m_text.size() && m_text[end].isLetter())
            ++end;
        return m_text.mid(m_at, end - m_at);
    }

    bool takeWord(QLatin1StringView word) {
        if (peekWord() != word)
            return false;
        m_at += word.size();
        return true;
    }

    QString quoted() {
        if (!take(u'\''))
            throw invalid();
        QString value;
        while (m_at < m_text.size()) {
            QChar c = m_text[m_at++];
            if (c == u'\'')
                return value;
            if (c == u'\\') {
                // Only these two are escapes; a lone backslash is what an unescaped name looks like.
                if (m_at >= m_text.size() || (m_text[m_at] != u'\'' && m_text[m_at] != u'\\'))
                    throw invalid();
                c = m_text[m_at++];
            }
            value += c;
        }
        throw invalid();
    }

    Relation relation() {
        if (take(u'!')) {
            if (!take(u'='))
                throw invalid();
            return Relation::notEqual;
        }
        if (take(u'<'))
            return take(u'=') ? Relation::lessOrEqual : Relation::less;
        if (take(u'>'))
            return take(u'=') ? Relation::greaterOrEqual : Relation::greater;
        if (take(u'='))
            return Relation::equal;
        throw invalid();
    }

    Relation equality() {
        const Relation result = relation();
        if (result != Relation::equal && result != Relation::notEqual)
            throw invalid();
        return result;
    }

    Node::Pointer alternatives() {
        Node::Pointer left = conjunction();
        while (takeWord("or"_L1)) {
            left = std::make_shared<Node>(Node{.kind = Kind::anyOf, .left = left, .right = conjunction()});
        }
        return left;
    }

    Node::Pointer conjunction() {
        Node::Pointer left = negation();
        while (takeWord("and"_L1)) {
            left = std::make_shared<Node>(Node{.kind = Kind::allOf, .left = left, .right = negation()});
        }
        return left;
    }

    Node::Pointer negation() {
        if (++m_depth > 200)
            throw invalid();
        Node::Pointer node;
        if (takeWord("not"_L1)) {
            node = std::make_shared<Node>(Node{.kind = Kind::noneOf, .left = negation()});
        } else if (take(u'(')) {
            node = alternatives();
            if (!take(u')'))
                throw invalid();
        } else {
            node = std::make_shared<Node>(term());
        }
        --m_depth;
        return node;
    }

    Node term() {
        skipSpaces();
        if (m_at < m_text.size() && m_text[m_at] == u'\'') {
            Node node{.kind = Kind::parent, .text = quoted()};
            if (!takeWord("in"_L1) || !takeWord("parents"_L1))
                throw invalid();
            return node;
        }
        const QString field = peekWord();
        m_at += field.size();
        if (field == "name"_L1 || field == "mimeType"_L1) {
            const bool name = field == "name"_L1;
            if (takeWord("contains"_L1)) {
                return {.kind = name ? Kind::nameContains : Kind::mimeContains, .text = quoted()};
            }
            const Relation how = equality();
            return {.kind = name ? Kind::name : Kind::mime, .relation = how, .text = quoted()};
        }
        if (field == "trashed"_L1) {
            const Relation how = equality();
            if (!takeWord("true"_L1)) {
                if (!takeWord("false"_L1))
                    throw invalid();
                return {.kind = Kind::trashed,
                        .relation = how == Relation::equal ? Relation::notEqual : Relation::equal};
            }
            return {.kind = Kind::trashed, .relation = how};
        }
        if (field == "modifiedTime"_L1 || field == "createdTime"_L1) {
            const Relation how = relation();
            const std::optional<qint64> time = parseTime(quoted());
            if (!time)
                throw invalid();
            return {
                .kind = field == "modifiedTime"_L1 ? Kind::modified : Kind::created, .relation = how, .time = *time};
        }
        throw invalid();
    }

    const QString &m_text;
    qsizetype m_at = 0;
    int m_depth = 0;
};

bool compare(qint64 value, Relation relation, qint64 with) {
    switch (relation) {
    case Relation::equal:
        return value == with;
    case Relation::notEqual:
        return value != with;
    case Relation::less:
        return value < with;
    case Relation::lessOrEqual:
        return value <= with;
    case Relation::greater:
        return value > with;
    case Relation::greaterOrEqual:
        return value >= with;
    }
    return false;
}

// "contains" looks at the beginnings of words in names, as the service does.
bool containsWordStart(const QString &name, const QString &text) {
    for (qsizetype at = 0; (at = name.indexOf(text, at, Qt::CaseInsensitive)) >= 0; ++at) {
        if (at == 0 || !name[at - 1].isLetterOrNumber())
            return true;
    }
    return false;
}

bool evaluate(const Node &node, const QuerySubject &subject) {
    const bool equal = node.relation == Relation::equal;
    switch (node.kind) {
    case Kind::allOf:
        return evaluate(*node.left, subject) && evaluate(*node.right, subject);
    case Kind::anyOf:
        return evaluate(*node.left, subject) || evaluate(*node.right, subject);
    case Kind::noneOf:
        return !evaluate(*node.left, subject);
    case Kind::parent:
        return subject.parentId == node.text;
    case Kind::name:
        return (subject.name.compare(node.text, Qt::CaseInsensitive) == 0) == equal;
    case Kind::nameContains:
        return containsWordStart(subject.name, node.text);
    case Kind::mime:
        return (subject.mimeType == node.text) == equal;
    case Kind::mimeContains:
        return subject.mimeType.startsWith(node.text);
    case Kind::trashed:
        return subject.trashed == equal;
    case Kind::modified:
        return compare(subject.modifiedMs, node.relation, node.time);
    case Kind::created:
        return compare(subject.createdMs, node.relation, node.time);
    }
    return false;
}

std::optional<QStringList> parentsOf(const Node &node) {
    switch (node.kind) {
    case Kind::parent:
        return QStringList{node.text};
    case Kind::allOf: {
        const std::optional<QStringList> left = parentsOf(*node.left);
        return left ? left : parentsOf(*node.right);
    }
    case Kind::anyOf: {
        std::optional<QStringList> left = parentsOf(*node.left);
        const std::optional<QStringList> right = parentsOf(*node.right);
        if (!left || !right)
            return std::nullopt;
        return *left + *right;
    }
    default:
        return std::nullopt;
    }
}

Node::Pointer renamed(const Node::Pointer &node, const QString &alias, const QString &id) {
    if (!node)
        return node;
    auto copy = std::make_shared<Node>(*node);
    if (copy->kind == Kind::parent && copy->text == alias)
        copy->text = id;
    copy->left = renamed(copy->left, alias, id);
    copy->right = renamed(copy->right, alias, id);
    return copy;
}
} // namespace

DriveQuery DriveQuery::parse(const QString &text) {
    DriveQuery query;
    query.m_root = Parser(text).whole();
    return query;
}

bool DriveQuery::matches(const QuerySubject &subject) const {
    return !m_root || evaluate(*m_root, subject);
}

std::optional<QStringList> DriveQuery::parents() const {
    if (!m_root)
        return std::nullopt;
    std::optional<QStringList> result = parentsOf(*m_root);
    if (result)
        result->removeDuplicates();
    return result;
}

DriveQuery DriveQuery::withParentAlias(const QString &alias, const QString &id) const {
    DriveQuery copy;
    copy.m_root = renamed(m_root, alias, id);
    return copy;
}

} // namespace quillmount::standin
