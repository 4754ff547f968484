#pragma once

#include <kxxml/kxxml_export.h>
#include <kxxml/packetable/xmlpacketable.h>

#include <QByteArray>
#include <QDomDocument>
#include <QString>

/// Reads XML from outside into a DOM document without letting it harm the process.
///
/// Qt's DOM recurses when it builds and destroys trees, and expands entities it is told
/// about. So the text is checked first: nothing larger than a size limit is looked at, and a
/// streaming pass refuses elements nested deeper than MaxDepth, undeclared entities and any
/// document type declaration (and with it every entity declaration, so entity-expansion bombs
/// and external entities never reach the DOM). Only text that passes is handed to QDomDocument.
/// A text that cannot hold any of these (no "<!DOCTYPE", no entity reference but the
/// predefined ones, fewer '<' than MaxDepth: small packets, mostly) skips the streaming pass,
/// which then runs only to say what is wrong when the DOM refuses the text.
///
/// Private to kxxml: the tool's XML input and the packets that other processes send over the
/// bus go through it. Exported for the tool only; the header is not installed.
class KXXML_EXPORT SafeXmlReader
{
public:
    /// Deepest element nesting accepted, the root element being level 1: the 256 levels of
    /// lists and items that the host and the library keep, plus the packetable root above
    /// them and a data element with its values below, so that whatever `to-xml` writes,
    /// `to-text` reads.
    static constexpr int MaxDepth = XMLPacketable::MaxNesting + 3;
    /// The largest text read by default, in bytes: the tool's limit on any input.
    static constexpr qint64 MaxBytes = 64 * 1024 * 1024;

    /// What becomes of namespace declarations (`xmlns="..."`) in the document.
    enum class Declarations {
        Drop,        ///< left out, as the tool's to-text reads its input
        AsAttributes ///< kept as plain attributes, so that a packet's text reads back as it was
    };

    /// @p sourceName stands for the input in error messages; empty for none. Texts longer
    /// than @p maxBytes are refused unread.
    explicit SafeXmlReader(const QString& sourceName, qint64 maxBytes = MaxBytes,
                           Declarations declarations = Declarations::Drop);

    /// Parses @p data into @p document. On failure returns false and sets @p error to one
    /// line naming the input, the line and the column, and what is wrong (only the size,
    /// for text over the limit).
    bool read(const QByteArray& data, QDomDocument& document, QString& error) const;

private:
    /// Whether @p data may hold something that the streaming pass refuses and the DOM takes.
    static bool mayHoldRefused(const QByteArray& data);
    /// The streaming pass: false, with @p error, for what the DOM must not see or cannot read.
    bool check(const QByteArray& data, QString& error) const;
    QString where(qint64 line, qint64 column) const;

    QString m_sourceName;
    qint64 m_maxBytes;
    Declarations m_declarations;
};
