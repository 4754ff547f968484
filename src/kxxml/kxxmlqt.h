#pragma once

/// \file kxxmlqt.h
/// What differs between the Qt versions kxxml builds with, Qt 5.15 and Qt 6, in one place.
///
/// Everything else in kxxml is written against the API both versions share, and writes the
/// same text with either: numbers in a base other than ten go through XMLObject::numberText,
/// XML text through the library's own writer.

#include <QtGlobal>

#if QT_VERSION < QT_VERSION_CHECK(5, 15, 0)
#  error "kxxml needs Qt 5.15 or Qt 6"
#endif

// QStringRef is part of Qt Core in Qt 5 and of the Core5Compat module in Qt 6, which
// KxXml::kxxml brings along when it is built with Qt 6.
#include <QStringRef>
