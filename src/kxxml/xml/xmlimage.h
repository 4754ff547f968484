#pragma once

#include <kxxml/xml/xmlobject.h>

/// A named reference to an image: an element "img" with the attributes "name" and "url".
class KXXML_EXPORT XMLImage : public XMLObject
{
public:
    /// An "img" element without attributes.
    XMLImage();
    /// An "img" element named @p name.
    explicit XMLImage(const QString& name);

    /// Writes the attribute "name".
    void setName(const QString& name);
    /// The attribute "name"; a null string when absent.
    QString getName() const;
    /// Stores the URL unchanged; it is neither parsed nor checked.
    void setURL(const QString& url);
    /// The attribute "url"; a null string when absent.
    QString getURL() const;
};
