#include <platform/SHARED/defines.h>

#include <examples/catalogue/CommandLine.h>
#include <examples/catalogue/Failure.h>

#include <QCommandLineParser>
#include <QDir>

namespace Client {

namespace {

struct CommandSyntax {
    const char *name;
    const char *argument; // null: none
    CommandLine::Command command;
    const char *help;
};

constexpr CommandSyntax Commands[]{
    {"record", "FOLDER", CommandLine::Command::Record, "record a backup run of a folder tree: what is new or changed"},
    {"list", "PATH", CommandLine::Command::List, "list a folder's content as the catalogue knows it"},
    {"versions", "FILE", CommandLine::Command::Versions, "list the versions of a file"},
    {"find", "TEXT", CommandLine::Command::Find, "list the files whose name contains a text, in any case"},
    {"report", nullptr, CommandLine::Command::Report, "show the last sessions, plans, features and destinations"},
    {"purge", "PATH…", CommandLine::Command::Purge, "remove the versions that --older, --keep and --deleted let go"},
    {"generation", "FILE record FOLDER", CommandLine::Command::RecordGeneration,
     "record a folder tree as the next restore point of a generation"},
    {"generation", "FILE list PATH…", CommandLine::Command::ListGeneration,
     "list files and folders of a generation as they stood at a restore point"},
};

QString description()
{
    QString text = QStringLiteral("Keeps a catalogue of what a backup stored, where and when.\n\nCommands:\n");
    for (const CommandSyntax &syntax : Commands) {
        const QString call = QLatin1String(syntax.name) + QLatin1Char(' ') + QString::fromUtf8(syntax.argument);
        text += QStringLiteral("  %1 %2\n").arg(call, -30).arg(QLatin1String(syntax.help));
    }
    return text + QStringLiteral(
                      "\nExit codes: 0 done; 1 nothing found, or a run that failed on some files or was interrupted;\n"
                      "2 the command line or the catalogue is at fault.");
}

// The word that a generation's command has after the file.
const char *actionOf(CommandLine::Command command)
{
    switch (command) {
    case CommandLine::Command::RecordGeneration:
        return "record";
    case CommandLine::Command::ListGeneration:
        return "list";
    default:
        return nullptr;
    }
}

const CommandSyntax &syntaxOf(const QStringList &words)
{
    for (const CommandSyntax &syntax : Commands) {
        const char *action = actionOf(syntax.command);
        if (words.first() == QLatin1String(syntax.name) && (!action || words.value(2) == QLatin1String(action)))
            return syntax;
    }
    throw Failure(QStringLiteral("there is no command \"%1\"; see --help").arg(words.mid(0, 3).join(QLatin1Char(' '))));
}

QString absolutePath(const QString &path)
{
    return QDir::cleanPath(QDir::current().absoluteFilePath(path));
}

void readArguments(const CommandSyntax &syntax, const QStringList &words, CommandLine &line)
{
    const QLatin1String argument(syntax.argument);
    const int least = syntax.argument ? QString(argument).split(QLatin1Char(' ')).size() + 1 : 1;
    const bool takesMore = syntax.argument && QString::fromUtf8(syntax.argument).endsWith(QStringLiteral("…"));
    if (words.size() < least || (words.size() > least && !takesMore)) {
        throw Failure(QStringLiteral("the command is: %1 %2")
                          .arg(QLatin1String(syntax.name), QString::fromUtf8(syntax.argument))
                          .trimmed());
    }
    if (words.contains(QString()))
        throw Failure(QStringLiteral("an argument of %1 is empty").arg(QLatin1String(syntax.name)));
    if (actionOf(syntax.command))
        line.generation = absolutePath(words.at(1));
    for (const QString &word : words.mid(least - 1))
        line.paths.append(syntax.command == CommandLine::Command::Find ? word : absolutePath(word));
    if (syntax.argument)
        line.argument = line.paths.first();
}

QString required(const QCommandLineParser &parser, const QCommandLineOption &option)
{
    const QString value = parser.value(option);
    if (parser.isSet(option) && value.isEmpty())
        throw Failure(QStringLiteral("--%1 is empty").arg(option.names().first()));
    return value;
}

template <class T>
std::optional<T> number(const QCommandLineParser &parser, const QCommandLineOption &option)
{
    if (!parser.isSet(option))
        return std::nullopt;
    bool isNumber = false;
    const qlonglong value = parser.value(option).toLongLong(&isNumber);
    if (!isNumber || value < 0)
        throw Failure(QStringLiteral("--%1 takes a number from 0 on").arg(option.names().first()));
    return static_cast<T>(value);
}

// An option that has no effect would leave the user believing that it had.
void requireOnlyOptionsOf(const CommandLine &line)
{
    using Command = CommandLine::Command;
    const bool isPurge = line.command == Command::Purge;
    const bool isListing = line.command == Command::ListGeneration;
    const bool hasRule = line.olderDays || line.keep || line.deletedDays;
    if (line.at.isValid() && !isListing && line.command != Command::List)
        throw Failure(QStringLiteral("--at belongs to list"));
    if ((hasRule || line.dryRun) && !isPurge)
        throw Failure(QStringLiteral("--older, --keep, --deleted DAYS and --dry-run belong to purge"));
    if (isPurge && !hasRule)
        throw Failure(QStringLiteral("purge needs --older, --keep or --deleted"));
    if ((line.filesOnly || line.showDeleted) && !isListing)
        throw Failure(QStringLiteral("--files-only and --deleted belong to generation … list"));
}

} // namespace

CommandLine parseCommandLine(const QStringList &arguments)
{
    const QCommandLineOption catalogue(
        QStringLiteral("catalogue"),
        QStringLiteral("The SQLite file, or PGSQL;host:…;port:…;user:…;password:…;database:…. Without it the product's "
                       "settings file decides, %1, which also keeps a password out of the list of processes.")
            .arg(SHARED::defines::Path::ETC::CONFIG::default_settings()),
        QStringLiteral("LOCATION"));
    const QCommandLineOption account(
        QStringLiteral("account"),
        QStringLiteral("A JSON file that describes the destination's account. Without it: record takes the folder "
                       "/backups of this machine, the questions look at every destination."),
        QStringLiteral("FILE"));
    const QCommandLineOption at(QStringLiteral("at"),
                                QStringLiteral("list: as it stood then, ISO 8601 or yyyyMMddhhmmss, in UTC."),
                                QStringLiteral("DATE"));
    const QCommandLineOption older(QStringLiteral("older"),
                                   QStringLiteral("purge: versions older than this, but not a file's newest."),
                                   QStringLiteral("DAYS"));
    const QCommandLineOption keep(QStringLiteral("keep"), QStringLiteral("purge: versions beyond a file's newest N."),
                                  QStringLiteral("N"));
    const QCommandLineOption deletedDays(
        QStringLiteral("deleted"),
        QStringLiteral("purge: all versions of files that were found deleted so long ago. Without DAYS, generation … "
                       "list: deleted entries, too."),
        QStringLiteral("DAYS"));
    const QCommandLineOption deletedFlag(QStringLiteral("deleted"));
    const QCommandLineOption dryRun(QStringLiteral("dry-run"), QStringLiteral("purge: only say what would go."));
    const QCommandLineOption filesOnly(QStringLiteral("files-only"), QStringLiteral("generation … list: no folders."));
    // Qt's own one brings options for windows along.
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     QStringLiteral("Displays version information."));
    const auto parse = [&](QCommandLineParser &parser, const QCommandLineOption &deleted) {
        parser.setApplicationDescription(description());
        parser.addOptions({catalogue, account, at, older, keep, deleted, dryRun, filesOnly, help, version});
        parser.addPositionalArgument(QStringLiteral("COMMAND"), QStringLiteral("One of the commands above."));
        return parser.parse(arguments);
    };
    // Only the command tells whether --deleted has a value.
    QCommandLineParser withDays;
    const bool parsedWithDays = parse(withDays, deletedDays);
    QCommandLineParser withFlag;
    const bool parsedWithFlag = parse(withFlag, deletedFlag);
    const bool isGeneration = withFlag.positionalArguments().value(0) == QLatin1String("generation");
    const QCommandLineParser &parser = isGeneration ? withFlag : withDays;
    if (!(isGeneration ? parsedWithFlag : parsedWithDays))
        throw Failure(parser.errorText() + QStringLiteral("; see --help"));
    CommandLine line;
    if (parser.isSet(help)) {
        line.text = withDays.helpText();
        return line;
    }
    if (parser.isSet(version)) {
        line.text = QStringLiteral("catalogue %1\n").arg(SHARED::defines::common::build_version());
        return line;
    }

    const QStringList words = parser.positionalArguments();
    if (words.isEmpty())
        throw Failure(QStringLiteral("no command is given; see --help"));
    const CommandSyntax &syntax = syntaxOf(words);
    line.command = syntax.command;
    readArguments(syntax, words, line);
    line.catalogue = required(parser, catalogue);
    line.accountFile = required(parser, account);
    if (parser.isSet(at)) {
        line.at = parseMoment(parser.value(at));
        if (!line.at.isValid())
            throw Failure(QStringLiteral("\"%1\" is no date").arg(parser.value(at)));
    }
    line.olderDays = number<long>(parser, older);
    line.keep = number<quint64>(parser, keep);
    line.deletedDays = isGeneration ? std::nullopt : number<quint64>(parser, deletedDays);
    line.dryRun = parser.isSet(dryRun);
    line.filesOnly = parser.isSet(filesOnly);
    line.showDeleted = isGeneration && parser.isSet(deletedFlag);
    requireOnlyOptionsOf(line);
    return line;
}

QDateTime parseMoment(const QString &text)
{
    const QDate day = QDate::fromString(text, Qt::ISODate);
    if (day.isValid() && text.size() == 10)
        return {day, QTime(23, 59, 59), Qt::UTC};

    // Never read as a local time: some clock times do not exist in some zones.
    const QDateTime digits(QDate::fromString(text.left(8), QStringLiteral("yyyyMMdd")),
                           QTime::fromString(text.mid(8), QStringLiteral("hhmmss")), Qt::UTC);
    if (digits.isValid())
        return digits;
    const QDateTime given = QDateTime::fromString(text, Qt::ISODate);
    const bool namesZone = given.isValid() && given.timeSpec() != Qt::LocalTime;
    return namesZone ? given.toUTC() : QDateTime::fromString(text + QLatin1Char('Z'), Qt::ISODate);
}

} // namespace Client
