#pragma once

#include <QString>

#include <memory>

class KXCommServer;

/// The dataset a subcommand works on: the file given with `--dataset`, or the sample dataset
/// built into the tool.
class DatasetSource
{
public:
    /// @p path is the value of `--dataset`; empty means the built-in sample.
    explicit DatasetSource(const QString& path);

    /// The name errors give for the dataset.
    QString name() const;
    /// A connection on the dataset, owned by the caller; null on failure, with @p error the
    /// host's one-line message naming the file and the JSON path of the problem.
    std::unique_ptr<KXCommServer> open(QString& error) const;

private:
    QString m_path; ///< empty for the built-in sample
};
