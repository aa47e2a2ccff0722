#pragma once

#include <repository/database/DatabaseConnection.h>
#include <repository/database/ResultCode.h>
#include <repository/generation/AttachDatabase.h>
#include <repository/generation/BlockIdGenerator.h>
#include <repository/generation/Files.h>
#include <repository/generation/Folders.h>
#include <repository/generation/Metadata.h>
#include <repository/generation/Parts.h>
#include <repository/generation/PartsBlocks.h>
#include <repository/generation/RestorePoints.h>
#include <repository/generation/StorageFiles.h>

#include <tests/support/LogCapture.h>
#include <tests/support/OwnConnection.h>

#include <QTemporaryDir>
#include <gmock/gmock.h>

namespace Tolm::Tests {

using Ids = QList<unsigned long long>;

/// All texts of the schema, in the order in which a new file gets them.
inline QStringList creationStatements(const QString &schema)
{
    using namespace SQL::Generation;
    return QStringList{Metadata::createTable(schema),      StorageFiles::createTable(schema),
                       RestorePoints::createTable(schema), Folders::createTable(schema),
                       Files::createTable(schema),         Parts::createTable(schema),
                       PartsBlocks::createTable(schema),   BlockIdGenerator::createTable(schema)} +
           Folders::createIndex(schema) + Files::createIndex(schema) + Parts::createIndex(schema) +
           PartsBlocks::createIndex(schema) + QStringList{BlockIdGenerator::init(schema)};
}

inline QDateTime onDay(int day, const QTime &time = QTime(12, 0))
{
    return {QDate(2024, 1, 1).addDays(day - 1), time, Qt::UTC};
}

inline QString parentOf(const QString &path)
{
    return path.lastIndexOf('/') > 0 ? path.section('/', 0, -2) : "/";
}

/// What a question that worked was answered.
template <class Value>
Value good(const SQL::ResultValue<Value> &result)
{
    EXPECT_EQ(result.error, SQL::ResultCode::Ok);
    return result.value;
}

/// \name New rows, whose ids they return
///@{
inline quint64 addRestorePoint(SQL::DatabaseConnection &connection, int number, const QDateTime &start)
{
    SQL::Generation::RestorePoints restorePoint;
    restorePoint.setSequenceNumber(number);
    restorePoint.setStartDate(start);
    EXPECT_EQ(restorePoint.insert({}, connection), SQL::ResultCode::Ok);
    return restorePoint.id();
}

inline quint64 addFolder(SQL::DatabaseConnection &connection, const QString &path, quint64 parentId,
                         quint64 restorePointId, bool deleted = false)
{
    SQL::Generation::Folders folder;
    folder.setDisplayName(path.section('/', -1));
    folder.setLocalPath(path);
    folder.setParentId(parentId);
    folder.setRestorePointId(restorePointId);
    folder.setDeleted(deleted);
    folder.setMetadata({{"kind", "folder"}});
    EXPECT_EQ(folder.insert({}, connection), SQL::ResultCode::Ok) << qPrintable(path);
    return folder.id();
}

inline quint64 addFile(SQL::DatabaseConnection &connection, const QString &path, quint64 folderId, bool deleted = false)
{
    SQL::Generation::Files file;
    file.setDisplayName(path.section('/', -1));
    file.setLocalPath(path);
    file.setDateModificationUtc(onDay(1));
    file.setParentId(folderId);
    file.setDeleted(deleted);
    file.setMetadata({{"kind", "file"}});
    EXPECT_EQ(file.insert({}, connection), SQL::ResultCode::Ok) << qPrintable(path);
    return file.id();
}
///@}

/// A suite whose tests have a new, attached generation each.
class GenerationTest : public testing::Test {
protected:
    GenerationTest() { sql("PRAGMA synchronous = OFF"); } // the disk is not what is tested

    QStringList sql(const QString &text) { return rowsOf(m_connection.query(), text); }
    void addRestorePoints(int count)
    {
        for (int number = 1; number <= count; ++number)
            addRestorePoint(m_connection, number, onDay(number));
    }

    QTemporaryDir m_folder;
    const QString m_path = m_folder.filePath("generation.db");
    const QUuid m_marker = QUuid::createUuid();
    const QSharedPointer<SQL::Generation::AttachDatabase> m_generation =
        SQL::Generation::AttachDatabase::attach(m_path, m_marker);
    QPointer<SQL::DatabasePool> &m_pool = m_generation->attachedDatabasePool();
    SQL::DatabaseConnection m_connection{m_pool};
};

} // namespace Tolm::Tests
