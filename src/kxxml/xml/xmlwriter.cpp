#include "xmlwriter_p.h"

#include <QDomDocument>
#include <QDomNamedNodeMap>
#include <QIODevice>
#include <QSet>
#include <QTextStream>

#include <algorithm>
#include <vector>

namespace {

// Qt's escaping: attributes also escape quotes, tabs and line ends; text escapes quotes only
// outside elements, and carriage returns always.
enum class Escape { Attribute, TextInElement, TextOutsideElement };

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
        case u'\r': flush(i, QLatin1String("&#xd;")); break;
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

QString qualifiedName(const QDomNode& n)
{
    if (n.namespaceURI().isNull())
        return n.nodeName();
    const QString prefix = n.prefix();
    return prefix.isEmpty() ? n.localName() : prefix + QLatin1Char(':') + n.localName();
}

} // namespace

QString XMLWriter::write(const QDomNode& node)
{
    QString out;
    if (node.isNull())
        return out;
    XMLWriter writer(out);
    if (node.isDocument())
        writer.writeDocument(node);
    else
        writer.writeTree(node, 1);
    return out;
}

void XMLWriter::writeDocument(const QDomNode& document)
{
    const QDomDocumentType type = document.toDocument().doctype();
    bool typeWritten = false;
    for (QDomNode child = document.firstChild(); !child.isNull(); child = child.nextSibling()) {
        if (child.isDocumentType())
            continue;
        const bool declaration = child.isProcessingInstruction()
                && child.nodeName() == QLatin1String("xml");
        if (!typeWritten && !declaration) {
            if (!type.isNull() && !type.name().isEmpty())
                writeWithQt(type);
            typeWritten = true;
        }
        writeTree(child, 0);
    }
}

void XMLWriter::writeTree(const QDomNode& start, int depth)
{
    QDomNode n = start;
    for (;;) {
        enter(n, depth);
        const bool container = n.isElement() || n.isDocumentFragment();
        if (container && n.hasChildNodes()) {
            n = n.firstChild();
            if (!n.parentNode().isDocumentFragment())
                ++depth;
            continue;
        }
        // n is done: go on with its next sibling, closing the ancestors it ends.
        for (;;) {
            if (n == start)
                return;
            const QDomNode next = n.nextSibling();
            if (!next.isNull()) {
                n = next;
                break;
            }
            n = n.parentNode();
            if (n.isElement()) {
                --depth;
                closeElement(n, depth);
            }
        }
    }
}

void XMLWriter::enter(const QDomNode& n, int depth)
{
    switch (n.nodeType()) {
    case QDomNode::ElementNode: {
        indent(n, depth);
        const QString name = qualifiedName(n);
        out += QLatin1Char('<') + name;
        const QString uri = n.namespaceURI();
        if (!uri.isNull()) {
            const QString prefix = n.prefix();
            out += prefix.isEmpty() ? QStringLiteral(" xmlns") : QStringLiteral(" xmlns:") + prefix;
            out += QLatin1String("=\"");
            appendEscaped(out, uri, Escape::Attribute);
            out += QLatin1Char('"');
        }
        writeAttributes(n);
        if (n.hasChildNodes()) {
            out += QLatin1Char('>');
            if (!isTextLike(n.firstChild()))
                out += QLatin1Char('\n');
        } else {
            out += QLatin1String("/>");
            newlineAfter(n);
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
        indent(n, depth);
        const QString value = n.nodeValue();
        out += QLatin1String("<!--") + value;
        if (value.endsWith(QLatin1Char('-')))
            out += QLatin1Char(' '); // a comment must not end in "--->"
        out += QLatin1String("-->");
        newlineAfter(n);
        break;
    }
    case QDomNode::ProcessingInstructionNode:
        out += QLatin1String("<?") + n.nodeName() + QLatin1Char(' ') + n.nodeValue() + QLatin1String("?>\n");
        break;
    case QDomNode::EntityReferenceNode:
        out += QLatin1Char('&') + n.nodeName() + QLatin1Char(';');
        break;
    case QDomNode::AttributeNode: {
        out += qualifiedName(n) + QLatin1String("=\"");
        appendEscaped(out, n.nodeValue(), Escape::Attribute);
        out += QLatin1Char('"');
        if (!n.namespaceURI().isNull()) {
            out += QLatin1String(" xmlns:") + n.prefix() + QLatin1String("=\"");
            appendEscaped(out, n.namespaceURI(), Escape::Attribute);
            out += QLatin1Char('"');
        }
        break;
    }
    case QDomNode::DocumentFragmentNode:
        break; // its children are written at its own depth
    default:
        writeWithQt(n); // document types, entities and notations: leaves without nesting
        break;
    }
}

void XMLWriter::closeElement(const QDomNode& element, int depth)
{
    if (!isTextLike(element.lastChild()))
        out += QString(depth, QLatin1Char(' '));
    out += QLatin1String("</") + qualifiedName(element) + QLatin1Char('>');
    newlineAfter(element);
}

void XMLWriter::writeAttributes(const QDomNode& element)
{
    const QDomNamedNodeMap map = element.attributes();
    const int count = map.count();
    if (count == 0)
        return;
    std::vector<std::pair<QString, QDomNode>> attributes;
    attributes.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const QDomNode a = map.item(i);
        attributes.emplace_back(qualifiedName(a), a);
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

void XMLWriter::indent(const QDomNode& n, int depth)
{
    if (!isTextLike(n.previousSibling()))
        out += QString(depth, QLatin1Char(' '));
}

void XMLWriter::newlineAfter(const QDomNode& n)
{
    if (!isTextLike(n.nextSibling()))
        out += QLatin1Char('\n');
}

void XMLWriter::writeWithQt(const QDomNode& n)
{
    QTextStream stream(&out, QIODevice::WriteOnly | QIODevice::Append);
    n.save(stream, 1);
}
