#pragma once

#include <QDomNode>
#include <QString>

/// Writes DOM nodes as XML text: exactly what QDomNode::save(stream, 1) writes, except that
/// each element's attributes come in order of their names, so the text does not depend on
/// Qt's hash order. Walks the tree without recursion, so depth is bounded by memory only.
class XMLWriter
{
public:
    static QString write(const QDomNode& node);

private:
    explicit XMLWriter(QString& target) : out(target) {}

    void writeTree(const QDomNode& start, int depth);
    void writeDocument(const QDomNode& document);
    void enter(const QDomNode& n, int depth);
    void closeElement(const QDomNode& element, int depth);
    void writeAttributes(const QDomNode& element);
    void indent(const QDomNode& n, int depth);
    void newlineAfter(const QDomNode& n);
    void writeWithQt(const QDomNode& n);

    QString& out;
};
