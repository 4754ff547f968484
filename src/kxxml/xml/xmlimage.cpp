#include "xmlimage.h"

namespace {
const QString kName = QStringLiteral("name");
const QString kUrl = QStringLiteral("url");
}

XMLImage::XMLImage()
    : XMLObject(XMLOBJECT_IMAGE)
{
}

XMLImage::XMLImage(const QString& name)
    : XMLImage()
{
    setName(name);
}

void XMLImage::setName(const QString& name)
{
    setAttribute(node, kName, name);
}

QString XMLImage::getName() const
{
    return getAttribute(node, kName);
}

void XMLImage::setURL(const QString& url)
{
    setAttribute(node, kUrl, url);
}

QString XMLImage::getURL() const
{
    return getAttribute(node, kUrl);
}
