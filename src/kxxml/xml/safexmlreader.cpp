#include "safexmlreader_p.h"

#include <QXmlStreamReader>

#include <algorithm>
#include <cstring>
#include <iterator>

SafeXmlReader::SafeXmlReader(const QString& sourceName, qint64 maxBytes, Declarations declarations)
    : m_sourceName(sourceName)
    , m_maxBytes(maxBytes)
    , m_declarations(declarations)
{
}

bool SafeXmlReader::read(const QByteArray& data, QDomDocument& document, QString& error) const
{
    if (data.size() > m_maxBytes) {
        error = (m_sourceName.isEmpty() ? QString() : m_sourceName + QStringLiteral(": "))
            + QStringLiteral("%1 bytes, more than the limit of %2").arg(data.size()).arg(m_maxBytes);
        return false;
    }
    const bool checked = mayHoldRefused(data);
    if (checked && !check(data, error))
        return false;

    QString message;
    int line = 0;
    int column = 0;
    QDomDocument parsed;
    // Through a stream reader, so that Qt 5 and Qt 6 parse alike: Qt 5's QDomDocument
    // parses a byte array with an older reader that keeps carriage returns in text and tabs
    // and line feeds in attribute values, where the stream reader normalises them.
    QXmlStreamReader domReader(data);
    // Without namespace processing the reader reports declarations as attributes, and the
    // DOM keeps them so.
    domReader.setNamespaceProcessing(m_declarations == Declarations::Drop);
    if (!parsed.setContent(&domReader, false, &message, &line, &column)) {
        // Said as the streaming pass says it, had it run first.
        if (!checked && !check(data, error))
            return false;
        error = where(line, column) + message;
        return false;
    }
    document = parsed;
    return true;
}

bool SafeXmlReader::mayHoldRefused(const QByteArray& data)
{
    if (data.contains("<!DOCTYPE"))
        return true;
    // Entity references other than the predefined ones and character references.
    static const char* const allowed[] = {"amp;", "lt;", "gt;", "quot;", "apos;", "#"};
    const char* const end = data.constData() + data.size();
    qsizetype tags = 0;
    for (const char* p = data.constData(); p < end; ++p) {
        if (*p == '<') {
            if (++tags > MaxDepth)
                return true; // each level takes a '<' at least
        } else if (*p == '&') {
            const bool known = std::any_of(std::begin(allowed), std::end(allowed), [p, end](const char* name) {
                const size_t length = std::strlen(name);
                return static_cast<size_t>(end - p - 1) >= length && std::memcmp(p + 1, name, length) == 0;
            });
            if (!known)
                return true;
        }
    }
    return false;
}

bool SafeXmlReader::check(const QByteArray& data, QString& error) const
{
    QXmlStreamReader reader(data);
    // The same reading of names as the DOM's pass.
    reader.setNamespaceProcessing(m_declarations == Declarations::Drop);
    int depth = 0;
    while (!reader.atEnd()) {
        switch (reader.readNext()) {
        case QXmlStreamReader::DTD:
            error = where(reader.lineNumber(), reader.columnNumber())
                + QStringLiteral("document type declarations are not accepted");
            return false;
        case QXmlStreamReader::EntityReference:
            error = where(reader.lineNumber(), reader.columnNumber())
                + QStringLiteral("undeclared entity '%1'").arg(reader.name().toString());
            return false;
        case QXmlStreamReader::StartElement:
            if (++depth > MaxDepth) {
                error = where(reader.lineNumber(), reader.columnNumber())
                    + QStringLiteral("elements nested deeper than %1 levels").arg(MaxDepth);
                return false;
            }
            break;
        case QXmlStreamReader::EndElement:
            --depth;
            break;
        default:
            break;
        }
    }
    if (reader.hasError()) {
        error = where(reader.lineNumber(), reader.columnNumber()) + reader.errorString();
        return false;
    }
    return true;
}

QString SafeXmlReader::where(qint64 line, qint64 column) const
{
    const QString position = QStringLiteral("line %1, column %2: ").arg(line).arg(column);
    return m_sourceName.isEmpty() ? position : m_sourceName + QStringLiteral(": ") + position;
}
