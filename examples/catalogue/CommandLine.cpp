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
};

QString description()
{
    QString text = QStringLiteral("Keeps a catalogue of what a backup stored, where and when.\n\nCommands:\n");
    for (const CommandSyntax &syntax : Commands) {
        const QString call = QLatin1String(syntax.name) + QLatin1Char(' ') + QLatin1String(syntax.argument);
        text += QStringLiteral("  %1 %2\n").arg(call, -15).arg(QLatin1String(syntax.help));
    }
    return text + QStringLiteral(
                      "\nExit codes: 0 done; 1 nothing found, or a run that failed on some files or was interrupted;\n"
                      "2 the command line or the catalogue is at fault.");
}

const CommandSyntax &syntaxOf(const QString &name)
{
    for (const CommandSyntax &syntax : Commands) {
        if (name == QLatin1String(syntax.name))
            return syntax;
    }
    throw Failure(QStringLiteral("there is no command \"%1\"; see --help").arg(name));
}

QString argumentOf(const CommandSyntax &syntax, const QStringList &words)
{
    if (words.size() != (syntax.argument ? 2 : 1)) {
        throw Failure(QStringLiteral("the command is: %1 %2")
                          .arg(QLatin1String(syntax.name), QLatin1String(syntax.argument))
                          .trimmed());
    }
    if (!syntax.argument)
        return {};
    const QString &argument = words.last();
    if (argument.isEmpty())
        throw Failure(QStringLiteral("%1 is empty").arg(QLatin1String(syntax.argument)));
    const bool isPath = syntax.command != CommandLine::Command::Find;
    return isPath ? QDir::cleanPath(QDir::current().absoluteFilePath(argument)) : argument;
}

QString required(const QCommandLineParser &parser, const QCommandLineOption &option)
{
    const QString value = parser.value(option);
    if (parser.isSet(option) && value.isEmpty())
        throw Failure(QStringLiteral("--%1 is empty").arg(option.names().first()));
    return value;
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
    QCommandLineParser parser;
    parser.setApplicationDescription(description());
    parser.addOptions({catalogue, account, at});
    parser.addPositionalArgument(QStringLiteral("COMMAND"), QStringLiteral("One of the commands above."));
    // Qt's own one brings options for windows along.
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help."));
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();

    if (!parser.parse(arguments))
        throw Failure(parser.errorText() + QStringLiteral("; see --help"));
    CommandLine line;
    if (parser.isSet(help)) {
        line.text = parser.helpText();
        return line;
    }
    if (parser.isSet(version)) {
        line.text = QStringLiteral("catalogue %1\n").arg(SHARED::defines::common::build_version());
        return line;
    }

    const QStringList words = parser.positionalArguments();
    if (words.isEmpty())
        throw Failure(QStringLiteral("no command is given; see --help"));
    const CommandSyntax &syntax = syntaxOf(words.first());
    line.command = syntax.command;
    line.argument = argumentOf(syntax, words);
    line.catalogue = required(parser, catalogue);
    line.accountFile = required(parser, account);
    if (parser.isSet(at)) {
        line.at = parseMoment(parser.value(at));
        if (line.command != CommandLine::Command::List)
            throw Failure(QStringLiteral("--at belongs to list"));
        if (!line.at.isValid())
            throw Failure(QStringLiteral("\"%1\" is no date").arg(parser.value(at)));
    }
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
