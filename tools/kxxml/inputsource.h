#pragma once

#include <kxxml/xml/safexmlreader_p.h>

#include <QByteArray>
#include <QString>

/// The input of a converting subcommand: a file, or standard input for `-` or no argument.
class InputSource
{
public:
    /// The largest input read, the same as for XML read from outside; anything longer is
    /// refused rather than read without end.
    static constexpr qint64 MaxBytes = SafeXmlReader::MaxBytes;

    /// @p argument is the file name given on the command line; empty or `-` means standard input.
    explicit InputSource(const QString& argument);

    /// The name errors give for the input: the file name, or "stdin".
    QString name() const;
    /// Reads the whole input into @p data. On failure returns false and sets @p error to a
    /// message that names the input (unreadable, a directory, too large).
    bool read(QByteArray& data, QString& error) const;

private:
    QString m_path; ///< empty for standard input
};
