#include "datasetsource.h"
#include "inputsource.h"

#include <kxxml/packetable/hostlib.h>

#include <QFile>

#include <string>

namespace {

const QString BuiltInResource = QStringLiteral(":/kxxml/sample.json");

} // namespace

DatasetSource::DatasetSource(const QString& path)
    : m_path(path)
{
}

QString DatasetSource::name() const
{
    return m_path.isEmpty() ? QStringLiteral("sample.json (built in)") : m_path;
}

std::unique_ptr<KXCommServer> DatasetSource::open(QString& error) const
{
    std::string hostError;
    std::unique_ptr<KXCommServer> server;
    if (m_path.isEmpty()) {
        QFile resource(BuiltInResource);
        if (!resource.open(QIODevice::ReadOnly)) {
            error = name() + QStringLiteral(": missing from this build");
            return nullptr;
        }
        server = KXCommServer::openData(resource.readAll().toStdString(), name().toStdString(), &hostError);
    } else {
        // Read like any other input, so directories and huge files get the same messages.
        QByteArray json;
        if (!InputSource(m_path).read(json, error))
            return nullptr;
        server = KXCommServer::openData(json.toStdString(), name().toStdString(), &hostError);
    }
    if (!server)
        error = QString::fromStdString(hostError);
    return server;
}
