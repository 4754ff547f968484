#include "xmlmessage.h"

namespace {
const QString kMessage = QStringLiteral("msg");
}

XMLMessage::XMLMessage()
    : XMLObject(XMLOBJECT_MESSAGE)
{
}

XMLMessage::XMLMessage(const QString& message)
    : XMLMessage()
{
    setMessage(message);
}

void XMLMessage::setMessage(const QString& message)
{
    setAttribute(node, kMessage, message);
}

QString XMLMessage::getMessage() const
{
    return getAttribute(node, kMessage);
}
