#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

namespace Client {

/// What the user asks for. A value, filled by parseCommandLine().
struct CommandLine {
    enum class Command {
        ShowText,
        Record,
        List,
        Versions,
        Find,
        Report,
        Purge,
        RecordGeneration,
        ListGeneration,
    };

    Command command = Command::ShowText;
    QString text;        ///< ShowText: what to print, the help or the version
    QString argument;    ///< the folder, path, file or search text; paths are absolute and clean
    QString catalogue;   ///< a location as "DB_location" takes it; empty: the product's own configuration
    QString accountFile; ///< empty: none given
    QDateTime at;        ///< UTC; invalid: now
    QStringList paths;   ///< of the commands that take several; absolute and clean
    QString generation;  ///< the file of a generation

    /// \name The rules of a purge, each off unless given
    ///@{
    std::optional<long> olderDays;
    std::optional<quint64> keep;
    std::optional<quint64> deletedDays;
    ///@}
    bool dryRun = false;
    bool filesOnly = false;
    bool showDeleted = false;
};

/// Throws Failure, with a text that tells what is wrong, for a command line that makes no sense.
CommandLine parseCommandLine(const QStringList &arguments);

/// A moment as people and the catalogue write it: ISO 8601 or yyyyMMddhhmmss, in UTC unless it says otherwise. A day
/// alone means its end, so that all of the day is in. \return invalid for any other text.
QDateTime parseMoment(const QString &text);

} // namespace Client
