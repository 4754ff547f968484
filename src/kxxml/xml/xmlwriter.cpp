#include "xmlwriter_p.h"

#include <QDomDocument>
#include <QDomNamedNodeMap>
#include <QHash>
#include <QIODevice>
#include <QSet>
#include <QTextStream>

#include <algorithm>
#include <vector>

namespace {

// Qt's escaping: attributes also escape quotes, tabs and line ends; text escapes quotes only
// outside elements, and carriage returns always; an element's own namespace URI escapes
// quotes but leaves tabs and line ends as they are.
enum class Escape { Attribute, TextInElement, TextOutsideElement, ElementNamespace };

void appendEscaped(QString& out, const QString& text, Escape mode)
{
    const bool attribute = mode == Escape::Attribute;
    const bool quotes = mode != Escape::TextInElement;
    const QChar* data = text.constData();
    const qsizetype size = text.size();
    qsizetype start = 0;
    auto flush = [&](qsizetype i, QLatin1String replacement) {
        out.append(data + start, i - start);
        out.append(replacement);
        start = i + 1;
    };
    for (qsizetype i = 0; i < size; ++i) {
        switch (data[i].unicode()) {
        case u'<': flush(i, QLatin1String("&lt;")); break;
        case u'&': flush(i, QLatin1String("&amp;")); break;
        case u'"':
            if (quotes)
                flush(i, QLatin1String("&quot;"));
            break;
        case u'>':
            if (i >= 2 && data[i - 1] == u']' && data[i - 2] == u']')
                flush(i, QLatin1String("&gt;"));
            break;
        case u'\r':
            if (mode != Escape::ElementNamespace)
                flush(i, QLatin1String("&#xd;"));
            break;
        case u'\n':
            if (attribute)
                flush(i, QLatin1String("&#xa;"));
            break;
        case u'\t':
            if (attribute)
                flush(i, QLatin1String("&#x9;"));
            break;
        default: break;
        }
    }
    out.append(data + start, size - start);
}

bool isTextLike(const QDomNode& n)
{
    return !n.isNull() && n.isText(); // CDATA sections count as text, as in Qt's writer
}

void indent(QString& out, const QDomNode& n, int depth)
{
    if (!isTextLike(n.previousSibling()))
        out += QString(depth, QLatin1Char(' '));
}

void newlineAfter(QString& out, const QDomNode& n)
{
    if (!isTextLike(n.nextSibling()))
        out += QLatin1Char('\n');
}

void writeWithQt(QString& out, const QDomNode& n)
{
    QTextStream stream(&out, QIODevice::WriteOnly | QIODevice::Append);
    n.save(stream, 1);
}

bool isXmlDeclaration(const QDomNode& n)
{
    return n.isProcessingInstruction() && n.nodeName() == QLatin1String("xml");
}

QString qualifiedName(const QDomNode& n)
{
    if (n.namespaceURI().isNull())
        return n.nodeName();
    const QString prefix = n.prefix();
    return prefix.isEmpty() ? n.localName() : prefix + QLatin1Char(':') + n.localName();
}

// An attribute's name as Qt writes it: a namespaced one always with a colon, also after an
// empty prefix (":name").
QString attributeName(const QDomNode& a)
{
    if (a.namespaceURI().isNull())
        return a.nodeName();
    return a.prefix() + QLatin1Char(':') + a.localName();
}

// ---- Comparing two trees without writing them ----
//
// Trees that are the same node for node (types, names, namespaces, attribute sets, values)
// are written the same, whatever they hold. Trees that differ are written differently
// only where the writer's text can be read back unambiguously; where it cannot, the
// texts themselves are compared. The rules below follow from how the writer above writes:
// - names, attribute values and text are written with escapes that cannot be mistaken
//   for markup, but names are written as they are: a name is only trusted when it is
//   made of name characters;
// - comments, processing instructions, CDATA sections and entity references are written
//   as they are, and adjacent text-like nodes run together, so they can mimic anything;
// - indentation is blanks and line feeds: a text node made only of those can pass for it;
// - namespaced attributes bring declarations that a plain attribute named xmlns... can
//   imitate, and Qt may hold several of them under one name;
// - an element's own namespace URI keeps its tabs and line ends, but escapes its quotes as
//   attribute values do: it still ends where it seems to, so it reads back like them.

enum class Match { Same, Differ, Unsure };

bool isNameCharacter(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || (u >= u'0' && u <= u'9') || u == u'_'
            || u == u'-' || u == u'.';
}

bool isPlainName(const QString& name)
{
    return !name.isEmpty() && std::all_of(name.cbegin(), name.cend(), isNameCharacter);
}

/// Whether an element's start tag can be read back: a plain name, no prefix, and plain
/// attributes (no namespace, a plain name other than xmlns).
bool hasReadableStartTag(const QDomNode& e)
{
    if (!isPlainName(qualifiedName(e)) || !e.prefix().isEmpty())
        return false;
    const QDomNamedNodeMap map = e.attributes();
    for (int i = 0, count = map.count(); i < count; ++i) {
        const QDomNode a = map.item(i);
        if (!a.namespaceURI().isNull() || !isPlainName(a.nodeName()) || a.nodeName() == QLatin1String("xmlns"))
            return false;
    }
    return true;
}

/// Whether a text node's text can be told from what follows it and from indentation:
/// inside an element, followed by an element or by the end, with a character other than
/// blank or line feed. (What comes before it is the same in both trees.)
bool hasReadableText(const QDomNode& t)
{
    const QDomNode next = t.nextSibling();
    if (t.nodeType() != QDomNode::TextNode || !t.parentNode().isElement() || !(next.isNull() || next.isElement()))
        return false;
    const QString value = t.nodeValue();
    return std::any_of(value.cbegin(), value.cend(), [](QChar c) { return c != u' ' && c != u'\n'; });
}

/// Two nodes at the same place in their trees, one of them possibly absent, that differ:
/// their texts differ for sure when each present node can be read back.
Match differing(const QDomNode& a, const QDomNode& b)
{
    auto readable = [](const QDomNode& n) {
        return n.isNull() || (n.isElement() ? hasReadableStartTag(n) : hasReadableText(n));
    };
    return readable(a) && readable(b) ? Match::Differ : Match::Unsure;
}

/// The attribute names last seen on elements of each name. Enumerating an element's
/// attributes through Qt costs a walk of its hash for each one, looking one up by name does
/// not: the names seen before are tried first, and the guess is checked every time.
class AttributeNames
{
public:
    /// The names last seen on elements named @p elementName: a guess.
    QStringList& guess(const QString& elementName)
    {
        if (seen.size() > 512)
            seen.clear(); // names of foreign content must not make it grow without end
        return seen[elementName];
    }
    /// Replaces @p guess by the names of @p attributes; false, with no guess left, when one
    /// of them is namespaced (their names need not be distinct).
    static bool learn(QStringList& guess, const QDomNamedNodeMap& attributes)
    {
        guess.clear();
        for (int i = 0, count = attributes.count(); i < count; ++i) {
            const QDomNode a = attributes.item(i);
            if (!a.namespaceURI().isNull()) {
                guess.clear();
                return false;
            }
            guess << a.nodeName();
        }
        return true;
    }

private:
    QHash<QString, QStringList> seen;
};

/// Compares the attributes of two elements named @p name as sets.
Match matchAttributes(const QDomNode& a, const QDomNode& b, const QString& name)
{
    if (!a.hasAttributes() && !b.hasAttributes())
        return Match::Same;
    const QDomNamedNodeMap left = a.attributes();
    const QDomNamedNodeMap right = b.attributes();
    const int count = left.count();
    if (count != right.count())
        return differing(a, b);
    thread_local AttributeNames seen;
    QStringList& names = seen.guess(name);
    bool learned = names.size() != count;
    if (learned && !AttributeNames::learn(names, left))
        return Match::Unsure;
    // count distinct names found on both sides with equal values: the same sets.
    for (qsizetype i = 0; i < names.size(); ++i) {
        const QDomNode l = left.namedItem(names.at(i));
        if (l.isNull()) {
            if (learned || !AttributeNames::learn(names, left))
                return Match::Unsure;
            learned = true;
            i = -1;
            continue;
        }
        const QDomNode r = right.namedItem(names.at(i));
        // Qt may hold several namespaced attributes under one name.
        if (!l.namespaceURI().isNull() || (!r.isNull() && !r.namespaceURI().isNull()))
            return Match::Unsure;
        if (r.isNull() || r.nodeValue() != l.nodeValue())
            return differing(a, b);
    }
    return Match::Same;
}

/// Compares what the writer reads of two nodes themselves (not their children).
Match matchNodes(const QDomNode& a, const QDomNode& b)
{
    const QDomNode::NodeType type = a.nodeType();
    if (type != b.nodeType())
        return differing(a, b);
    switch (type) {
    case QDomNode::ElementNode: {
        const QString aUri = a.namespaceURI();
        const QString bUri = b.namespaceURI();
        if (aUri.isNull() != bUri.isNull() || aUri != bUri)
            return differing(a, b);
        const QString name = aUri.isNull() ? a.nodeName() : qualifiedName(a);
        if (name != (bUri.isNull() ? b.nodeName() : qualifiedName(b)))
            return differing(a, b);
        return matchAttributes(a, b, name);
    }
    case QDomNode::TextNode:
    case QDomNode::CDATASectionNode:
    case QDomNode::CommentNode:
        return a.nodeValue() == b.nodeValue() ? Match::Same : differing(a, b);
    case QDomNode::ProcessingInstructionNode:
        return a.nodeName() == b.nodeName() && a.nodeValue() == b.nodeValue() ? Match::Same : Match::Unsure;
    case QDomNode::EntityReferenceNode:
        return a.nodeName() == b.nodeName() ? Match::Same : Match::Unsure;
    default:
        return Match::Unsure; // written through Qt: not compared here
    }
}

/// Walks two documents in step, node by node in document order, and stops at the first
/// difference. Without recursion, like the writer.
Match matchDocuments(const QDomDocument& a, const QDomDocument& b)
{
    if (!a.doctype().name().isEmpty() || !b.doctype().name().isEmpty())
        return Match::Unsure;
    QDomNode parentA = a;
    QDomNode parentB = b;
    QDomNode x = a.firstChild();
    QDomNode y = b.firstChild();
    for (;;) {
        if (x.isNull() || y.isNull()) {
            if (!x.isNull() || !y.isNull())
                return differing(x, y);
            if (parentA == a)
                return Match::Same;
            x = parentA.nextSibling();
            y = parentB.nextSibling();
            parentA = parentA.parentNode();
            parentB = parentB.parentNode();
            continue;
        }
        const Match match = matchNodes(x, y);
        if (match != Match::Same)
            return match;
        if (x.isElement() && (x.hasChildNodes() || y.hasChildNodes())) {
            parentA = x;
            parentB = y;
            x = x.firstChild();
            y = y.firstChild();
        } else {
            x = x.nextSibling();
            y = y.nextSibling();
        }
    }
}

} // namespace

XMLWriter::XMLWriter(const QDomNode& node)
    : top(node)
{
    if (top.isNull()) {
        finished = true;
    } else if (top.isDocument()) {
        finished = !startTree(top.firstChild(), 0);
    } else if (top.isDocumentType()) {
        // On its own a document type is written like any other leaf; only within a document
        // does startTree() pass over it.
        start = top;
        current = top;
        depth = 1;
    } else {
        startTree(top, 1);
    }
}

QString XMLWriter::write(const QDomNode& node)
{
    QString out;
    XMLWriter writer(node);
    while (writer.writeNext(out)) {
    }
    return out;
}

bool XMLWriter::sameText(const QDomDocument& a, const QDomDocument& b)
{
    switch (matchDocuments(a, b)) {
    case Match::Same: return true;
    case Match::Differ: return false;
    case Match::Unsure: break;
    }
    return sameWrittenText(a, b);
}

bool XMLWriter::sameWrittenText(const QDomNode& a, const QDomNode& b)
{
    XMLWriter left(a);
    XMLWriter right(b);
    // Each side's text not yet compared starts at its offset; compared text is dropped once a
    // side has none left (resize keeps the buffer), so nothing is moved.
    QString leftText;
    QString rightText;
    qsizetype leftAt = 0;
    qsizetype rightAt = 0;
    bool leftMore = true;
    bool rightMore = true;
    while (leftMore || rightMore) {
        // Write on the side that is behind, then compare what both have written.
        if (leftMore && (leftText.size() - leftAt <= rightText.size() - rightAt || !rightMore))
            leftMore = left.writeNext(leftText);
        else
            rightMore = right.writeNext(rightText);
        const qsizetype common = qMin(leftText.size() - leftAt, rightText.size() - rightAt);
        if (QStringView(leftText).mid(leftAt, common) != QStringView(rightText).mid(rightAt, common))
            return false;
        leftAt += common;
        rightAt += common;
        if (leftAt == leftText.size()) {
            leftText.resize(0);
            leftAt = 0;
        }
        if (rightAt == rightText.size()) {
            rightText.resize(0);
            rightAt = 0;
        }
    }
    return leftText.isEmpty() && rightText.isEmpty();
}

bool XMLWriter::startTree(const QDomNode& tree, int treeDepth)
{
    // A document's own type node is written before its first child other than the XML
    // declaration, as Qt does; the type node itself is never walked.
    QDomNode n = tree;
    while (!n.isNull() && n.isDocumentType())
        n = n.nextSibling();
    if (n.isNull())
        return false;
    start = n;
    current = n;
    depth = treeDepth;
    entering = true;
    return true;
}

bool XMLWriter::nextTopLevel()
{
    finished = !top.isDocument() || !startTree(start.nextSibling(), 0);
    return !finished;
}

bool XMLWriter::writeNext(QString& out)
{
    if (finished)
        return false;
    if (entering) {
        if (top.isDocument() && !typeWritten && !isXmlDeclaration(current)) {
            const QDomDocumentType type = top.toDocument().doctype();
            if (!type.isNull() && !type.name().isEmpty())
                writeWithQt(out, type);
            typeWritten = true;
        }
        enter(out, current, depth);
        const bool container = current.isElement() || current.isDocumentFragment();
        if (container && current.hasChildNodes()) {
            if (current.isElement())
                ++depth; // a fragment's children are written at its own depth
            current = current.firstChild();
        } else {
            entering = false;
        }
        return true;
    }
    // current is done: go on with its next sibling, or close the parent it ends.
    if (current == start)
        return nextTopLevel();
    const QDomNode next = current.nextSibling();
    if (!next.isNull()) {
        current = next;
        entering = true;
        return true;
    }
    current = current.parentNode();
    if (current.isElement()) {
        --depth;
        closeElement(out, current, depth);
    }
    return true;
}

void XMLWriter::enter(QString& out, const QDomNode& n, int level)
{
    switch (n.nodeType()) {
    case QDomNode::ElementNode: {
        indent(out, n, level);
        const QString uri = n.namespaceURI();
        if (uri.isNull()) {
            out += QLatin1Char('<') + n.nodeName();
        } else {
            out += QLatin1Char('<') + qualifiedName(n);
            const QString prefix = n.prefix();
            out += prefix.isEmpty() ? QStringLiteral(" xmlns") : QStringLiteral(" xmlns:") + prefix;
            out += QLatin1String("=\"");
            appendEscaped(out, uri, Escape::ElementNamespace);
            out += QLatin1Char('"');
        }
        writeAttributes(out, n);
        if (n.hasChildNodes()) {
            out += QLatin1Char('>');
            if (!isTextLike(n.firstChild()))
                out += QLatin1Char('\n');
        } else {
            out += QLatin1String("/>");
            newlineAfter(out, n);
        }
        break;
    }
    case QDomNode::TextNode: {
        const QDomNode parent = n.parentNode();
        const bool inElement = !parent.isNull() && parent.isElement();
        appendEscaped(out, n.nodeValue(), inElement ? Escape::TextInElement : Escape::TextOutsideElement);
        break;
    }
    case QDomNode::CDATASectionNode:
        out += QLatin1String("<![CDATA[") + n.nodeValue() + QLatin1String("]]>");
        break;
    case QDomNode::CommentNode: {
        indent(out, n, level);
        const QString value = n.nodeValue();
        out += QLatin1String("<!--") + value;
        if (value.endsWith(QLatin1Char('-')))
            out += QLatin1Char(' '); // a comment must not end in "--->"
        out += QLatin1String("-->");
        newlineAfter(out, n);
        break;
    }
    case QDomNode::ProcessingInstructionNode:
        out += QLatin1String("<?") + n.nodeName() + QLatin1Char(' ') + n.nodeValue() + QLatin1String("?>\n");
        break;
    case QDomNode::EntityReferenceNode:
        out += QLatin1Char('&') + n.nodeName() + QLatin1Char(';');
        break;
    case QDomNode::AttributeNode: {
        out += attributeName(n) + QLatin1String("=\"");
        appendEscaped(out, n.nodeValue(), Escape::Attribute);
        out += QLatin1Char('"');
        // Declared unless its element declares the same prefix itself.
        const QDomElement owner = n.toAttr().ownerElement();
        if (!n.namespaceURI().isNull() && (owner.isNull() || owner.prefix() != n.prefix())) {
            out += QLatin1String(" xmlns:") + n.prefix() + QLatin1String("=\"");
            appendEscaped(out, n.namespaceURI(), Escape::Attribute);
            out += QLatin1Char('"');
        }
        break;
    }
    case QDomNode::DocumentFragmentNode:
        break; // its children are written at its own depth
    default:
        writeWithQt(out, n); // document types, entities and notations: leaves without nesting
        break;
    }
}

void XMLWriter::closeElement(QString& out, const QDomNode& element, int level)
{
    if (!isTextLike(element.lastChild()))
        out += QString(level, QLatin1Char(' '));
    out += QLatin1String("</") + qualifiedName(element) + QLatin1Char('>');
    newlineAfter(out, element);
}

void XMLWriter::writeAttributes(QString& out, const QDomNode& element)
{
    const QDomNamedNodeMap map = element.attributes();
    const int count = map.count();
    if (count == 0)
        return;
    if (count == 1) {
        // The common case: nothing to sort.
        const QDomNode a = map.item(0);
        if (a.namespaceURI().isNull()) {
            out += QLatin1Char(' ') + a.nodeName() + QLatin1String("=\"");
            appendEscaped(out, a.nodeValue(), Escape::Attribute);
            out += QLatin1Char('"');
            return;
        }
    }
    std::vector<std::pair<QString, QDomNode>> attributes;
    attributes.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const QDomNode a = map.item(i);
        attributes.emplace_back(attributeName(a), a);
    }
    std::sort(attributes.begin(), attributes.end(),
              [](const auto& l, const auto& r) { return l.first < r.first; });

    const QString elementPrefix = element.prefix();
    QSet<QString> declaredPrefixes;
    for (const auto& [name, a] : attributes) {
        out += QLatin1Char(' ') + name + QLatin1String("=\"");
        appendEscaped(out, a.nodeValue(), Escape::Attribute);
        out += QLatin1Char('"');
        const QString uri = a.namespaceURI();
        if (uri.isNull())
            continue;
        const QString prefix = a.prefix();
        if (prefix != elementPrefix && !declaredPrefixes.contains(prefix)) {
            declaredPrefixes.insert(prefix);
            out += QLatin1String(" xmlns:") + prefix + QLatin1String("=\"");
            appendEscaped(out, uri, Escape::Attribute);
            out += QLatin1Char('"');
        }
    }
}

