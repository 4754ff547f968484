#include "buspacket_p.h"

#include <kxxml/xml/safexmlreader_p.h>

BusPacket::BusPacket() = default;

std::unique_ptr<XMLPacket> BusPacket::read(const QString& text, qint64 maxBytes, Problem& problem, QString& error)
{
    // UTF-8 takes at least one byte per UTF-16 unit: a text this long is too large unconverted.
    if (text.size() > maxBytes) {
        problem = Problem::TooLarge;
        error = QStringLiteral("at least %1 bytes, more than the limit of %2").arg(text.size()).arg(maxBytes);
        return nullptr;
    }
    const QByteArray bytes = text.toUtf8();
    if (bytes.size() > maxBytes) {
        problem = Problem::TooLarge;
        error = QStringLiteral("%1 bytes, more than the limit of %2").arg(bytes.size()).arg(maxBytes);
        return nullptr;
    }
    QDomDocument document;
    if (!SafeXmlReader(QString(), maxBytes, SafeXmlReader::Declarations::AsAttributes).read(bytes, document, error)) {
        problem = Problem::BadXml;
        return nullptr;
    }
    std::unique_ptr<BusPacket> packet(new BusPacket);
    if (!packet->adopt(document, error)) {
        problem = Problem::NotAPacket;
        return nullptr;
    }
    problem = Problem::None;
    return packet;
}

bool BusPacket::adopt(const QDomDocument& parsed, QString& error)
{
    const QDomElement top = parsed.documentElement();
    const QString where = QStringLiteral("line %1, column %2: ").arg(top.lineNumber()).arg(top.columnNumber());
    if (top.tagName() != rootNodeName() || top.attribute(QStringLiteral("xmlns")) != KX_NAMESPACE) {
        error = where + QStringLiteral("expected a packet, <%1 xmlns=\"%2\">, found <%3>")
                            .arg(rootNodeName(), KX_NAMESPACE, top.tagName());
        return false;
    }
    const QDomElement head = getElement(top, HEADER);
    const QDomElement from = getElement(head, SOURCE);
    const QDomElement to = getElement(head, DESTINATION);
    const QDomElement content = getElement(top, BODY);
    if (head.isNull() || from.isNull() || to.isNull() || content.isNull()) {
        error = where + QStringLiteral("a packet needs <%1> with <%2> and <%3>, and <%4>")
                            .arg(HEADER, SOURCE, DESTINATION, BODY);
        return false;
    }
    packetDocument = parsed;
    root = top;
    header = head;
    source = from;
    destination = to;
    body = content;
    return true;
}
