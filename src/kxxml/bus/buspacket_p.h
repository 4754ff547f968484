#pragma once

#include <kxxml/messaging/xmlpacket.h>

#include <QString>

#include <memory>

/// A packet read from the text of another process: checked as the tool checks its XML input
/// (SafeXmlReader) before the DOM sees it, then adopted whole as the packet's document, without
/// a copy. Used by both ends of the bus.
class BusPacket : public XMLPacket
{
public:
    /// What was wrong with a text.
    enum class Problem {
        None,
        TooLarge,   ///< more bytes than allowed
        BadXml,     ///< not well-formed, nested too deep, or with a document type declaration
        NotAPacket  ///< well-formed, but not a packet envelope
    };

    /// The packet written in @p text (UTF-8 at most @p maxBytes bytes long), owned by the
    /// caller; null on failure, with @p problem set and @p error one line saying what is wrong
    /// and, for XML, where ("line 3, column 7: ...").
    static std::unique_ptr<XMLPacket> read(const QString& text, qint64 maxBytes, Problem& problem, QString& error);

    using XMLPacket::operator=;

private:
    BusPacket();
    /// Takes @p parsed over when it is an envelope: a "kxxml" element declaring the
    /// library's namespace, with a header holding "src" and "dst", and a body.
    bool adopt(const QDomDocument& parsed, QString& error);
};
