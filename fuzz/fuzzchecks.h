#pragma once

// What must hold for any input, one function per fuzz target. The libFuzzer programs under
// fuzz/ call them; tests/tst_hostileinput replays every input ever found that broke one.
// A broken rule prints what broke and aborts.

#include <QByteArray>

namespace FuzzChecks {

/// XML deeper than this is refused before Qt's recursive DOM sees it.
constexpr int XmlDepthLimit = 600;

/// Host text form to XML: XMLPacketable::toDom on the lines, the XML back to text, and the
/// same input through a host packet that accepts it and XMLPacketable::setData.
void textToXml(const QByteArray& input);
/// Arbitrary XML to host text form: XMLPacketable::toPacket and a host packet rebuilt from it.
void xmlToText(const QByteArray& input);
/// The typed readers of XMLObject and its number lists on arbitrary text.
void typedValues(const QByteArray& input);
/// The host stand-in's strict text-form parser, for every data type.
void hostTextForm(const QByteArray& input);
/// The host stand-in's dataset loader, then every query and archive node of what it loads.
void dataset(const QByteArray& input);

/// The element depth of well-formed XML @p input, measured without recursion; -1 when it is
/// not well-formed or deeper than @p limit (reading stops there).
int xmlDepth(const QByteArray& input, int limit);

} // namespace FuzzChecks
