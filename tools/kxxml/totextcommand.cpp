#include "totextcommand.h"

#include "inputsource.h"

#include <kxxml/packetable/hostlib.h>
#include <kxxml/packetable/xmlpacketable.h>
#include <kxxml/xml/safexmlreader_p.h>

#include <QCommandLineParser>

#include <memory>

namespace {

const QString CheckOption = QStringLiteral("check");

QString where(const QString& input, const QDomElement& e)
{
    return input + QStringLiteral(": line %1, column %2: ").arg(e.lineNumber()).arg(e.columnNumber());
}

} // namespace

QString ToTextCommand::name() const
{
    return QStringLiteral("to-text");
}

QString ToTextCommand::synopsis() const
{
    return QStringLiteral("[--check] [FILE|-]");
}

QString ToTextCommand::summary() const
{
    return QStringLiteral("Converts packetable XML (FILE, or standard input) to the host packet's text form.");
}

void ToTextCommand::addOptions(QCommandLineParser& parser) const
{
    parser.addOption({CheckOption, QStringLiteral("Also rebuilds the host packet and fails when the host rejects it.")});
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The XML; - or none for standard input."),
                                 QStringLiteral("[FILE|-]"));
}

Outcome ToTextCommand::execute(const QCommandLineParser& parser)
{
    const QStringList positional = parser.positionalArguments();
    if (positional.size() > 1)
        return usageError(QStringLiteral("unexpected argument '%1'").arg(positional.at(1)));

    const InputSource input(positional.value(0));
    QByteArray data;
    QString error;
    if (!input.read(data, error))
        return badInput(error);
    QDomDocument document;
    if (!SafeXmlReader(input.name()).read(data, document, error))
        return badInput(error);

    const QDomElement root = document.documentElement();
    if (!XMLObject::isXMLPacketable(root)) {
        return badInput(where(input.name(), root)
                        + QStringLiteral("expected a 'packetable' element, found '%1'").arg(root.tagName()));
    }
    const QString text = XMLPacketable::toPacket(root);
    if (text.isEmpty())
        return badInput(where(input.name(), root) + QStringLiteral("the packetable holds no item to convert"));

    if (parser.isSet(CheckOption)) {
        XMLPacketable packetable;
        packetable.setData(root);
        if (!packetable.getDataConst()) {
            // Ask the host again, the same way, for its reason.
            const std::unique_ptr<KXPacketable> packet(PacketableUtil::getPacketable(packetable.getType()));
            QByteArray bytes = text.toUtf8();
            const QString reason = !packet
                ? QStringLiteral("no packet class for data type %1").arg(static_cast<unsigned int>(packetable.getType()), 0, 16)
                : (packet->fromPacket(bytes.data(), static_cast<unsigned int>(bytes.size()), false, true)
                       ? QStringLiteral("rejected")
                       : QString::fromUtf8(packet->lastError()));
            return badInput(input.name() + QStringLiteral(": the host rejects the text form: ") + reason);
        }
    }
    return Outcome::success(text.toUtf8());
}
