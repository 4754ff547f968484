#include "democommand.h"

#include "datasetsource.h"
#include "routertrace.h"
#include "session.h"

#include <kxxml/messaging/xmlpacket.h>
#include <kxxml/packetable/hostlib.h>
#include <kxxml/ui/xmlaction.h>
#include <kxxml/ui/xmlactiongroup.h>
#include <kxxml/ui/xmlui.h>

#include <QCommandLineParser>

#include <memory>
#include <vector>

namespace {

QString heading(int step, const QString& title)
{
    return QStringLiteral("== %1. %2 ==\n").arg(step).arg(title);
}

QString checkStates(const std::vector<std::unique_ptr<XMLAction>>& actions)
{
    QString text;
    for (const auto& action : actions) {
        text += (action->isChecked() ? QStringLiteral("[x] ") : QStringLiteral("[ ] ")) + action->getName()
            + u'\n';
    }
    return text;
}

} // namespace

QString DemoCommand::name() const
{
    return QStringLiteral("demo");
}

QString DemoCommand::synopsis() const
{
    return QStringLiteral("[--dataset FILE] [--trace]");
}

QString DemoCommand::summary() const
{
    return QStringLiteral("Runs a short session: the four requests, a UI collection, an exclusive group.");
}

void DemoCommand::addOptions(QCommandLineParser& parser) const
{
    parser.addOption(datasetOption());
    parser.addOption(RouterTrace::option());
}

Outcome DemoCommand::execute(const QCommandLineParser& parser)
{
    if (!parser.positionalArguments().isEmpty())
        return usageError(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
    const DatasetSource dataset(parser.value(QStringLiteral("dataset")));
    QString error;
    std::unique_ptr<KXCommServer> server = dataset.open(error);
    if (!server)
        return badInput(error);
    const QString host = QString::fromStdString(server->getConnectedHostname());
    const unsigned int port = server->getConnectedPortnum();
    Session session(std::move(server), parser.isSet(RouterTrace::option()));
    RequestAgent& agent = session.agent();

    QString text = QStringLiteral("kxxml demo on %1 (server %2:%3), the tool's agent has id %4\n\n")
                       .arg(dataset.name(), host)
                       .arg(port)
                       .arg(agent.getAgentID());
    int step = 0;

    // The four requests, each answered by the comm-server agent through the router.
    std::vector<std::unique_ptr<XMLAction>> actions;
    for (const QString& kind : RequestAgent::requestNames()) {
        actions.push_back(agent.requestAction(kind, {}, nullptr));
        XMLAction& action = *actions.back();
        text += heading(++step, QStringLiteral("request %1 (%2)").arg(kind).arg(action.getType()));
        const std::unique_ptr<XMLPacket> reply = agent.ask(action);
        text += reply ? reply->packetText() : QStringLiteral("(no reply)\n");
        text += u'\n';
    }

    // A UI collection of the request actions; the books request is hidden in it.
    XMLUI ui(QStringLiteral("requests"));
    for (const auto& action : actions) {
        action->setCheckable(true);
        ui.append(*action);
    }
    ui.setActionVisible(RequestAgent::requestCode(QStringLiteral("books")), agent.getAgentID(), false);
    text += heading(++step, QStringLiteral("UI collection of the request actions, books hidden"));
    text += ui.toString();
    text += QStringLiteral("visible actions: %1 of %2\n\n").arg(ui.visibleActionCount()).arg(actions.size());

    // An exclusive group: switching one action on switches the others off.
    XMLActionGroup group(nullptr, "requests");
    for (const auto& action : actions)
        group.addAction(action.get());
    for (const int index : {1, 3}) {
        XMLAction* const chosen = actions.at(static_cast<size_t>(index)).get();
        group.toggleAction(chosen);
        text += heading(++step, QStringLiteral("exclusive group: toggle %1").arg(chosen->getName()));
        text += checkStates(actions) + u'\n';
    }
    text += heading(++step, QStringLiteral("the checked action"));
    for (const auto& action : actions) {
        if (action->isChecked())
            text += action->toString();
    }
    return Outcome::success(text.toUtf8());
}
