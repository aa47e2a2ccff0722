#include <tests/support/CatalogueFolder.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QUuid>
#include <gtest/gtest.h>

#include <vector>

namespace Tolm::Tests {

CatalogueFolder::CatalogueFolder(const QString &bringUpProgram)
    : m_program(bringUpProgram)
{}

void CatalogueFolder::configure(const QString &location) const
{
    write(path(QStringLiteral("settings.conf")), "DB_location = " + location.toUtf8() + '\n');
}

std::unique_ptr<ChildProgram> CatalogueFolder::start(const QStringList &commands) const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("TOLM_CONFIG_ROOT"), m_folder.path());
    return std::make_unique<ChildProgram>(m_program, commands, environment);
}

QVector<QStringList> CatalogueFolder::runTogether(int count, const QStringList &commands) const
{
    std::vector<std::unique_ptr<ChildProgram>> children;
    children.reserve(static_cast<std::size_t>(count));
    for (int child = 0; child < count; ++child)
        children.push_back(start(commands));
    for (const auto &child : children)
        EXPECT_TRUE(child->waitFor(QStringLiteral("ready")));
    for (const auto &child : children)
        child->proceed();
    QVector<QStringList> said;
    for (const auto &child : children)
        said.append(child->finish());
    return said;
}

QVariant CatalogueFolder::sql(const QString &path, const QStringList &statements)
{
    const QString name = QUuid::createUuid().toString();
    QVariant value;
    {
        QSqlDatabase database = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), name);
        database.setDatabaseName(path);
        EXPECT_TRUE(database.open()) << qPrintable(database.lastError().text());
        QSqlQuery query(database);
        for (const QString &statement : statements) {
            EXPECT_TRUE(query.exec(statement)) << qPrintable(statement + query.lastError().text());
            value = query.next() ? query.value(0) : QVariant();
            query.finish();
        }
    }
    QSqlDatabase::removeDatabase(name);
    return value;
}

QByteArray CatalogueFolder::read(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(path);
    return file.readAll();
}

void CatalogueFolder::write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly)) << qPrintable(path);
    EXPECT_EQ(file.write(content), content.size());
}

QMap<QString, QByteArray> CatalogueFolder::snapshot(const QString &path)
{
    QMap<QString, QByteArray> files;
    QDirIterator entries(path, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        const QString file = entries.next();
        files.insert(QDir(path).relativeFilePath(file), read(file));
    }
    return files;
}

} // namespace Tolm::Tests
