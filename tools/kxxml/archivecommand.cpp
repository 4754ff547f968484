#include "archivecommand.h"

#include "datasetsource.h"
#include "keyoption.h"

#include <kxxml/packetable/hostlib.h>
#include <kxxml/packetable/xmlpacketable.h>
#include <kxxml/packetable/xpkreference.h>

#include <QCommandLineParser>

#include <memory>

namespace {

const QString KeyOptionName = QStringLiteral("key");
const QString NameOption = QStringLiteral("name");
const QString ReferencesOption = QStringLiteral("references");

QString referenceHeading(const XPKReference& reference)
{
    const QString by = reference.name.isNull()
        ? QStringLiteral("key ") + KeyOption::text(reference.key)
        : QStringLiteral("name ") + reference.name;
    return QStringLiteral("-- reference by ") + by + QStringLiteral(" --\n");
}

} // namespace

QString ArchiveCommand::name() const
{
    return QStringLiteral("archive");
}

QString ArchiveCommand::synopsis() const
{
    return QStringLiteral("[--dataset FILE] (--key KEY:HKEY | --name NAME) [--references]");
}

QString ArchiveCommand::summary() const
{
    return QStringLiteral("Prints an archive entry as a packetable, with the packets it refers to inlined.");
}

void ArchiveCommand::addOptions(QCommandLineParser& parser) const
{
    parser.addOption(datasetOption());
    parser.addOption({KeyOptionName, QStringLiteral("The entry with the key KEY:HKEY (hexadecimal)."),
                      QStringLiteral("KEY:HKEY")});
    parser.addOption({NameOption, QStringLiteral("The first entry named NAME."), QStringLiteral("NAME")});
    parser.addOption({ReferencesOption,
                      QStringLiteral("Prints each packet the entry refers to as a packetable of its own instead.")});
}

Outcome ArchiveCommand::execute(const QCommandLineParser& parser)
{
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    const bool byKey = parser.isSet(KeyOptionName);
    const bool byName = parser.isSet(NameOption);
    if (byKey == byName)
        return usageError(QStringLiteral("give either --key or --name"));

    KXKEY_ELEMENT key = KXKEY_CC::getNullKey();
    QByteArray name;
    QString wanted;
    if (byKey) {
        const QString text = parser.value(KeyOptionName);
        if (!KeyOption::parse(text, key) || !KXKEY_CC::isValid(key))
            return usageError(QStringLiteral("--key '%1': expected KEY:HKEY in hexadecimal, both non-zero").arg(text));
        wanted = QStringLiteral("with key ") + text;
    } else {
        name = parser.value(NameOption).toUtf8();
        if (name.isEmpty())
            return usageError(QStringLiteral("--name: expected a name"));
        wanted = QStringLiteral("named '%1'").arg(parser.value(NameOption));
    }

    const DatasetSource dataset(parser.value(QStringLiteral("dataset")));
    QString error;
    const std::unique_ptr<KXCommServer> server = dataset.open(error);
    if (!server)
        return badInput(error);

    KXDB_REFERENCE reference{nullptr, key, byName ? name.data() : nullptr};
    ArchiveNode* const node = server->archive()->findNode(&reference);
    if (!node)
        return badInput(dataset.name() + QStringLiteral(": no archive entry ") + wanted);

    const std::unique_ptr<XMLPacketable> packetable(XMLPacketable::fromArchiveNode(*server, node));
    if (!parser.isSet(ReferencesOption))
        return Outcome::success(packetable->toString().toUtf8());

    QList<XPKReference*> references;
    packetable->getXPKReferences(references);
    QString text;
    for (XPKReference* const found : references) {
        const std::unique_ptr<XPKReference> owned(found);
        text += referenceHeading(*owned);
        if (owned->packetable)
            text += owned->packetable->toString();
    }
    return Outcome::success(text.toUtf8());
}
