#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/DatabasePool.h>
#include <repository/database/DatabaseType.h>

#include <QPointer>
#include <QTemporaryDir>
#include <QVariantList>
#include <QVector>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Tolm::Tests {

/// The backends that the suite runs on: SQLite, and PostgreSQL when the test script has started a server.
std::vector<SQL::DatabaseType> backends();

/// `type` alone when the suite runs on it, else nothing.
std::vector<SQL::DatabaseType> backend(SQL::DatabaseType type);

/// For INSTANTIATE_TEST_SUITE_P.
std::string backendName(const testing::TestParamInfo<SQL::DatabaseType> &info);

/// Lets the pool look for idle connections: those that nobody has held for more than `idle` milliseconds.
void sweep(SQL::DatabasePool &pool, int idle = -1);

/// One new, empty database of its own (a file in a temporary folder, or a database of the throw-away server), with a
/// pool on it. Gone with the object.
class TestDatabase {
public:
    explicit TestDatabase(SQL::DatabaseType type);
    ~TestDatabase();
    Q_DISABLE_COPY_MOVE(TestDatabase)

    SQL::DatabaseType type() const { return m_type; }
    bool isSQLite() const { return m_type == SQL::DatabaseType::SQLite; }

    /// What "DB_location" takes.
    QString location() const;

    /// The file of a SQLite database.
    QString file() const { return m_file; }

    /// For DatabaseConnection.
    QPointer<SQL::DatabasePool> &pool() { return m_pool; }

    /// Runs `text` on a connection of the test's own, beside the library, expecting it to succeed. \return its rows.
    QVector<QVariantList> sql(const QString &text);

    /// As sql(), the values of each row as texts joined by "|".
    QStringList rows(const QString &text);

    /// The first value of the first row of `text`.
    QVariant value(const QString &text);

    /// A newly opened connection of the test's own, under `name`; the caller removes it.
    QSqlDatabase open(const QString &name) const;

    /// Makes the tables of the record classes named, in that order.
    template <class... Record>
    void createTables()
    {
        (sql(Record::createTable(m_type)), ...);
    }

private:
    SQL::DatabaseType m_type;
    QTemporaryDir m_folder;
    QString m_file;
    QString m_databaseName;
    QString m_ownConnection;
    QPointer<SQL::DatabasePool> m_pool;
};

/// A suite that runs on every backend, each test on an empty database.
class DatabaseTest : public testing::TestWithParam<SQL::DatabaseType> {
protected:
    bool isSQLite() const { return GetParam() == SQL::DatabaseType::SQLite; }

    TestDatabase m_database{GetParam()};
};

} // namespace Tolm::Tests

/// Runs the suite, a DatabaseTest, on every backend.
#define TOLM_TEST_ON_EVERY_BACKEND(Suite)                                                                              \
    INSTANTIATE_TEST_SUITE_P(Backends, Suite, testing::ValuesIn(Tolm::Tests::backends()), Tolm::Tests::backendName)

/// For suites about what only one of them does.
#define TOLM_TEST_ON_SQLITE(Suite)                                                                                     \
    INSTANTIATE_TEST_SUITE_P(Backends, Suite,                                                                          \
                             testing::ValuesIn(Tolm::Tests::backend(Tolm::SQL::DatabaseType::SQLite)),                 \
                             Tolm::Tests::backendName)
#define TOLM_TEST_ON_POSTGRESQL(Suite)                                                                                 \
    GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(Suite);                                                              \
    INSTANTIATE_TEST_SUITE_P(Backends, Suite,                                                                          \
                             testing::ValuesIn(Tolm::Tests::backend(Tolm::SQL::DatabaseType::PostgreSQL)),             \
                             Tolm::Tests::backendName)
