#pragma once

#include <QDomDocument>
#include <QString>

/// Writes DOM nodes as XML text: exactly what QDomNode::save(stream, 1) writes, except that
/// each element's attributes come in order of their names, so the text does not depend on
/// Qt's hash order. Walks the tree without recursion, so depth is bounded by memory only.
///
/// Two documents are compared node by node without writing them (sameText); where the
/// writer's text could not tell the two trees apart there, their texts are compared, written
/// a step at a time (one tag, text node or closing tag per step) so that the comparison
/// stops at the first step where the texts part.
class XMLWriter
{
public:
    /// The whole text of @p node.
    static QString write(const QDomNode& node);
    /// Whether write(@p a) == write(@p b), stopping at the first difference.
    static bool sameText(const QDomDocument& a, const QDomDocument& b);

private:
    /// sameText by writing both texts, a step at a time.
    static bool sameWrittenText(const QDomNode& a, const QDomNode& b);
    explicit XMLWriter(const QDomNode& node);

    /// Appends the next step's text to @p out; false when there is nothing left to write.
    bool writeNext(QString& out);
    bool startTree(const QDomNode& tree, int treeDepth);
    bool nextTopLevel();

    void enter(QString& out, const QDomNode& n, int level);
    void closeElement(QString& out, const QDomNode& element, int level);
    void writeAttributes(QString& out, const QDomNode& element);

    QDomNode top;       ///< the node being written (a document's children are written in turn)
    QDomNode start;     ///< the tree being walked: top itself, or a child of a document
    QDomNode current;   ///< the walk's position
    int depth = 0;
    bool entering = true;  ///< current is still to be entered (else: it is done)
    bool finished = false;
    bool typeWritten = false;
};
