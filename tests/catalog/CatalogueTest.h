#pragma once

#include <repository/catalog/CloudFileVersion.h>
#include <repository/catalog/CloudFileVersionBitmap.h>
#include <repository/database/DatabaseStructure.h>

#include <tests/catalog/Samples.h>
#include <tests/support/LogCapture.h>
#include <tests/support/ShortWaits.h>
#include <tests/support/TestDatabase.h>

namespace Tolm::Tests {

/// A suite on a new catalogue with its whole structure, each test with a handle on it.
class CatalogueTest : public DatabaseTest {
protected:
    void SetUp() override { ASSERT_TRUE(SQL::createDatabaseStructure(m_connection)); }

    int count(const QString &from) { return m_database.value("select count(*) from " + from).toInt(); }

    /// What stands in `column` of the row `id`, NULL as "NULL".
    QString stored(const QString &table, quint64 id, const QString &column)
    {
        return m_database
            .value(QStringLiteral("select coalesce(cast(%1 as text), 'NULL') from %2 where id = %3")
                       .arg(column, table)
                       .arg(id))
            .toString();
    }

    /// A version of `path` that destination 1 now has, with the file, the folders and the map that it needs.
    SQL::CloudFileVersion backedUp(const QString &path, int attribute = 1, int day = 1)
    {
        SQL::CloudFileVersion version;
        version.setPath(path);
        version.setDateModified(utc(2024, 1, day));
        version.setAttribute(attribute);
        EXPECT_TRUE(version.insert(1, m_connection));
        EXPECT_TRUE(SQL::CloudFileVersionBitmap(version.id()).insert(m_connection));
        return version;
    }

    /// Removes `record`. \return what the log says of it.
    template <class Record>
    QString removed(Record record, bool option)
    {
        const LogCapture log;
        EXPECT_TRUE(record.delete_(option, m_connection));
        return log.texts(QtDebugMsg).join('\n') + log.complaints();
    }

    SQL::DatabaseConnection m_connection{m_database.pool()};
};

} // namespace Tolm::Tests
