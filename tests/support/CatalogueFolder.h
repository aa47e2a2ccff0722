#pragma once

#include <tests/support/ChildProgram.h>

#include <QByteArray>
#include <QMap>
#include <QTemporaryDir>
#include <QVector>

#include <memory>

namespace Tolm::Tests {

/// A configuration root of its own, and child programs that bring the catalogue in it up. Gone with the object.
class CatalogueFolder {
public:
    /// The path of `name` in the folder.
    QString path(const QString &name) const { return m_folder.filePath(name); }

    /// The SQLite file of a catalogue whose location is not configured.
    QString file() const { return path("tolmvault.db"); }

    /// Writes `location` into the settings.
    void configure(const QString &location) const
    {
        write(path("settings.conf"), "DB_location = " + location.toUtf8() + '\n');
    }

    /// Starts a child that carries `commands` out.
    std::unique_ptr<ChildProgram> start(const QStringList &commands) const
    {
        return std::make_unique<ChildProgram>("bringup", commands, m_folder.path());
    }

    /// Runs such a child to its end. \return what it said, a line for each command and log record.
    QStringList run(const QStringList &commands) const { return start(commands)->finish(); }

    /// Runs such a child. \return only its answers to the commands, joined by blanks.
    QString answers(const QStringList &commands) const { return answersIn(run(commands)); }

    /// The lines of `said` that answer a command, joined by blanks.
    static QString answersIn(const QStringList &said);

    /// Starts `count` such children, lets them do everything from their "wait" on at once, and returns what each said.
    QVector<QStringList> runTogether(int count, const QStringList &commands) const;

    static QByteArray read(const QString &path);
    static void write(const QString &path, const QByteArray &content);

    /// Each file of the folder `path` and its folders, by its path from there, with what it holds.
    static QMap<QString, QByteArray> snapshot(const QString &path);
    QMap<QString, QByteArray> snapshot() const { return snapshot(m_folder.path()); }

private:
    QTemporaryDir m_folder;
};

} // namespace Tolm::Tests
