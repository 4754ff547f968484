#pragma once

#include <kxxml/xml/xmlobject.h>

/// A text message: an element "msg" whose attribute "msg" holds the text (the doubled name is
/// the format).
class KXXML_EXPORT XMLMessage : public XMLObject
{
public:
    /// A "msg" element without text.
    XMLMessage();
    /// A "msg" element holding @p message.
    explicit XMLMessage(const QString& message);

    /// Writes the attribute "msg".
    void setMessage(const QString& message);
    /// The message text; the null string when there is none.
    QString getMessage() const;
};
