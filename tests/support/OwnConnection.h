#pragma once

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QUuid>
#include <QVariant>
#include <gtest/gtest.h>

namespace Tolm::Tests {

/// Runs `text`, expecting it to succeed. \return its rows, the values of each as texts joined by "|".
inline QStringList rowsOf(QSqlQuery query, const QString &text)
{
    EXPECT_TRUE(query.exec(text)) << qPrintable(text) << ": " << qPrintable(query.lastError().text());
    QStringList rows;
    while (query.next()) {
        QStringList values;
        for (int column = 0; column < query.record().count(); ++column)
            values << (query.isNull(column) ? QString() : query.value(column).toString());
        rows << values.join('|');
    }
    return rows;
}

/// A connection of the test's own to a SQLite file, beside the library.
class OwnConnection {
public:
    explicit OwnConnection(const QString &path)
    {
        m_database.setDatabaseName(path);
        EXPECT_TRUE(m_database.open()) << qPrintable(path);
    }
    ~OwnConnection()
    {
        m_database = {};
        QSqlDatabase::removeDatabase(m_name);
    }
    Q_DISABLE_COPY_MOVE(OwnConnection)

    QStringList sql(const QString &text) const { return rowsOf(QSqlQuery(m_database), text); }

private:
    const QString m_name = QUuid::createUuid().toString();
    QSqlDatabase m_database = QSqlDatabase::addDatabase("QSQLITE", m_name);
};

} // namespace Tolm::Tests
