#include "routertrace.h"

#include <kxxml/messaging/xmlrouter.h>

#include <QCommandLineOption>
#include <QLoggingCategory>

#include <cstdio>

namespace {

constexpr char TraceCategory[] = "kxxml.router";

QtMessageHandler previousHandler = nullptr;
QLoggingCategory::CategoryFilter previousFilter = nullptr;

// The trace's lines go to standard error with the tool's prefix, whatever QT_MESSAGE_PATTERN
// says; every other message goes where it went before.
void writeTrace(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtDebugMsg && context.category && qstrcmp(context.category, TraceCategory) == 0) {
        const QByteArray line = "kxxml: trace: " + message.toUtf8() + '\n';
        std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
    } else if (previousHandler) {
        previousHandler(type, context, message);
    }
}

// Applies the rules as before (QT_LOGGING_RULES included), then switches the trace's
// category on: --trace asks for it explicitly.
void enableTrace(QLoggingCategory* category)
{
    if (previousFilter)
        previousFilter(category);
    if (qstrcmp(category->categoryName(), TraceCategory) == 0)
        category->setEnabled(QtDebugMsg, true);
}

} // namespace

QCommandLineOption RouterTrace::option()
{
    return QCommandLineOption(QStringLiteral("trace"),
                              QStringLiteral("Writes one line per router event to standard error "
                                             "(kxxml: trace: <seq> <event> <field>=<value>...)."));
}

RouterTrace::RouterTrace(XMLRouter& router)
{
    previousHandler = qInstallMessageHandler(writeTrace);
    previousFilter = QLoggingCategory::installFilter(enableTrace);
    router.addObserver(&m_logger);
}

RouterTrace::~RouterTrace()
{
    QLoggingCategory::installFilter(previousFilter);
    qInstallMessageHandler(previousHandler);
}
