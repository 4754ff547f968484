#include "toxmlcommand.h"

#include "inputsource.h"
#include "keyoption.h"

#include <kxxml/packetable/hostlib.h>
#include <kxxml/packetable/xmlpacketable.h>

#include <QCommandLineParser>

#include <memory>

namespace {

const QString TypeOption = QStringLiteral("type");
const QString NameOption = QStringLiteral("name");
const QString KeyOptionName = QStringLiteral("key");

bool parseType(QStringView text, unsigned int& type)
{
    bool ok = false;
    type = text.toUInt(&ok, 16);
    return ok && !text.startsWith(u'+') && !text.startsWith(u'-');
}

// The class of the first `SI` line: 0 and false when there is none; false with @p line set
// when that line's class is no hexadecimal number.
bool typeFromText(const QByteArray& text, unsigned int& type, int& line)
{
    line = 0;
    for (const QByteArray& raw : text.split('\n')) {
        ++line;
        const QByteArray trimmed = raw.trimmed();
        if (trimmed.startsWith("SI ") || trimmed.startsWith("SI\t"))
            return parseType(QString::fromUtf8(trimmed.mid(3).trimmed()), type);
        if (trimmed == "SI")
            return false;
    }
    line = 0;
    return false;
}

} // namespace

QString ToXmlCommand::name() const
{
    return QStringLiteral("to-xml");
}

QString ToXmlCommand::synopsis() const
{
    return QStringLiteral("[--type HEX] [--name NAME] [--key KEY:HKEY] [FILE|-]");
}

QString ToXmlCommand::summary() const
{
    return QStringLiteral("Converts a host packet's text form (FILE, or standard input) to packetable XML.");
}

void ToXmlCommand::addOptions(QCommandLineParser& parser) const
{
    parser.addOption({TypeOption,
                      QStringLiteral("The packet's data type in hexadecimal (default: the class of the first SI line)."),
                      QStringLiteral("HEX")});
    parser.addOption({NameOption, QStringLiteral("Names the packet."), QStringLiteral("NAME")});
    parser.addOption({KeyOptionName, QStringLiteral("Gives the packet the key KEY:HKEY (hexadecimal)."),
                      QStringLiteral("KEY:HKEY")});
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("The text form; - or none for standard input."),
                                 QStringLiteral("[FILE|-]"));
}

Outcome ToXmlCommand::execute(const QCommandLineParser& parser)
{
    const QStringList positional = parser.positionalArguments();
    if (positional.size() > 1)
        return usageError(QStringLiteral("unexpected argument '%1'").arg(positional.at(1)));
    unsigned int type = 0;
    const bool typeGiven = parser.isSet(TypeOption);
    if (typeGiven && !parseType(parser.value(TypeOption), type))
        return usageError(QStringLiteral("--type '%1': expected a hexadecimal number").arg(parser.value(TypeOption)));
    KXKEY_ELEMENT key{};
    if (parser.isSet(KeyOptionName) && !KeyOption::parse(parser.value(KeyOptionName), key))
        return usageError(QStringLiteral("--key '%1': expected KEY:HKEY in hexadecimal").arg(parser.value(KeyOptionName)));

    const InputSource input(positional.value(0));
    QByteArray text;
    QString error;
    if (!input.read(text, error))
        return badInput(error);

    if (!typeGiven) {
        int line = 0;
        if (!typeFromText(text, type, line)) {
            return badInput(line == 0
                                ? input.name() + QStringLiteral(": no SI line to take the packet type from (give --type)")
                                : input.name() + QStringLiteral(": line %1: the SI class is no hexadecimal number").arg(line));
        }
    }
    const auto dataType = static_cast<PACKETDATATYPES>(type);
    const std::unique_ptr<KXPacketable> packet(PacketableUtil::getPacketable(dataType));
    if (!packet)
        return badInput(input.name() + QStringLiteral(": the host has no packet class for data type %1").arg(type, 0, 16));
    if (!packet->fromPacket(text.data(), static_cast<unsigned int>(text.size()), false, true))
        return badInput(input.name() + QStringLiteral(": ") + QString::fromUtf8(packet->lastError()));

    XMLPacketable packetable;
    packetable.setData(*packet);
    if (parser.isSet(NameOption))
        packetable.setName(parser.value(NameOption));
    if (parser.isSet(KeyOptionName))
        packetable.setDBkey(key);
    return Outcome::success(packetable.toString().toUtf8());
}
