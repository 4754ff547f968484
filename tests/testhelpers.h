#pragma once

// Helpers shared by the tests: Qt's own writer as an oracle, XML round trips, and programs run
// as processes.

#include <cstdio>
#include <unistd.h>

#include <QDomDocument>
#include <QTemporaryFile>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>
#include <QIODevice>
#include <QProcess>
#include <QTextStream>

namespace TestHelpers {

/// What @p f writes to standard output (through stdio), captured in a temporary file.
template <typename F>
QByteArray captureStdout(F f)
{
    std::fflush(stdout);
    QTemporaryFile file;
    if (!file.open())
        return {};
    const int saved = dup(fileno(stdout));
    dup2(file.handle(), fileno(stdout));
    f();
    std::fflush(stdout);
    dup2(saved, fileno(stdout));
    close(saved);
    file.seek(0);
    return file.readAll();
}

/// What a program gave: its exit status (-1 when it did not end normally) and its output.
struct Run
{
    int status = -1;
    QByteArray out;
    QByteArray err;
};

/// Runs @p program with @p arguments in @p directory, with @p input on its standard input.
inline Run runProgram(const QString& program, const QStringList& arguments, const QString& directory,
                      const QByteArray& input = {},
                      const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(directory);
    process.start(program, arguments);
    if (!process.waitForStarted())
        return {};
    process.write(input);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000) || process.exitStatus() != QProcess::NormalExit)
        return {};
    return {process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
}

/// The words of @p text, split at blanks: words("a b") is {"a", "b"}; words("") is empty.
inline QStringList words(const char* text)
{
    return QString::fromUtf8(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// What Qt's own writer gives for @p node (QDomNode::save with one space of indentation).
inline QString qtText(const QDomNode& node)
{
    QString text;
    QTextStream stream(&text, QIODevice::WriteOnly);
    stream << node;
    return text;
}

/// Parses @p text as a document (namespace processing on) and returns its document element;
/// a null element when it is not well-formed.
inline QDomElement parseElement(const QString& text)
{
    QDomDocument document;
    if (!document.setContent(text, true))
        return {};
    return document.documentElement();
}

/// The document element of UTF-8 @p text; null when it is not well-formed.
inline QDomElement parseElement(const QByteArray& text)
{
    return parseElement(QString::fromUtf8(text));
}

/// Structural equality of two DOM trees: names, namespaces, attributes (in any order),
/// node values and children in order.
inline bool sameTree(const QDomNode& a, const QDomNode& b)
{
    if (a.nodeType() != b.nodeType() || a.nodeName() != b.nodeName() || a.namespaceURI() != b.namespaceURI()
        || a.nodeValue() != b.nodeValue())
        return false;
    const QDomNamedNodeMap aa = a.attributes();
    const QDomNamedNodeMap ba = b.attributes();
    if (aa.count() != ba.count())
        return false;
    for (int i = 0; i < aa.count(); ++i) {
        if (ba.namedItem(aa.item(i).nodeName()).nodeValue() != aa.item(i).nodeValue())
            return false;
    }
    QDomNode ca = a.firstChild();
    QDomNode cb = b.firstChild();
    for (; !ca.isNull() && !cb.isNull(); ca = ca.nextSibling(), cb = cb.nextSibling()) {
        if (!sameTree(ca, cb))
            return false;
    }
    return ca.isNull() && cb.isNull();
}

inline QString randomText(QRandomGenerator& rng)
{
    static const QString alphabet = QStringLiteral("ab <>&\"']\r\n\t-é€?");
    QString text;
    const int length = rng.bounded(6);
    for (int i = 0; i < length; ++i)
        text += alphabet.at(rng.bounded(alphabet.size()));
    return text;
}

/// Grows a random tree under @p parent: elements (some in namespaces) with at most one
/// attribute each, so Qt's hash order cannot matter, text, CDATA, comments, instructions and
/// entity references, with every character the writers escape.
inline void growRandom(QDomDocument& d, QDomElement parent, QRandomGenerator& rng, int depth)
{
    const int children = depth > 4 ? 0 : rng.bounded(5);
    for (int i = 0; i < children; ++i) {
        switch (rng.bounded(7)) {
        case 0:
        case 1: {
            QDomElement e = rng.bounded(4) == 0
                    ? d.createElementNS(QStringLiteral("urn:n%1").arg(rng.bounded(2)),
                                        rng.bounded(2) ? QStringLiteral("p:e") : QStringLiteral("e"))
                    : d.createElement(QStringLiteral("e%1").arg(depth));
            if (rng.bounded(2))
                e.setAttribute(QStringLiteral("a"), randomText(rng));
            parent.appendChild(e);
            growRandom(d, e, rng, depth + 1);
            break;
        }
        case 2: parent.appendChild(d.createTextNode(randomText(rng))); break;
        case 3: parent.appendChild(d.createCDATASection(randomText(rng))); break;
        case 4: parent.appendChild(d.createComment(randomText(rng))); break;
        case 5: parent.appendChild(d.createProcessingInstruction(QStringLiteral("pi"), randomText(rng))); break;
        default: parent.appendChild(d.createEntityReference(QStringLiteral("ent"))); break;
        }
    }
}

} // namespace TestHelpers
