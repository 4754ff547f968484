#pragma once

#include <kxxml/xml/xmlobject.h>

/// A text message: an element "msg" whose attribute "msg" holds the text (the doubled name is
/// the format).
class KXXML_EXPORT XMLMessage : public XMLObject
{
public:
    XMLMessage();
    explicit XMLMessage(const QString& message);

    void setMessage(const QString& message);
    /// The message text; the null string when there is none.
    QString getMessage() const;
};
