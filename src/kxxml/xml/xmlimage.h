#pragma once

#include <kxxml/xml/xmlobject.h>

/// A named reference to an image: an element "img" with the attributes "name" and "url".
class KXXML_EXPORT XMLImage : public XMLObject
{
public:
    XMLImage();
    explicit XMLImage(const QString& name);

    void setName(const QString& name);
    QString getName() const;
    /// Stores the URL unchanged; it is neither parsed nor checked.
    void setURL(const QString& url);
    QString getURL() const;
};
