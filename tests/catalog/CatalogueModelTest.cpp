#include <repository/catalog/CloudFile.h>
#include <repository/catalog/CloudFolder.h>
#include <repository/database/DatabaseTransaction.h>
#include <repository/database/ResultCode.h>

#include <tests/catalog/CatalogueTest.h>

namespace Tolm::SQL {
namespace {

using namespace Tests;

/// A random life of files and versions on two destinations, beside a model of what must be there.
class CatalogueModelTest : public CatalogueTest {
protected:
    // The versions of each file by their keys; a file's name here begins with the number of its destination.
    using Files = QMap<QString, QMap<quint64, QString>>;

    int below(int end) { return static_cast<int>(m_random() % static_cast<unsigned>(end)); }

    void backUp(int destination, const QString &path, Files &files)
    {
        CloudFileVersion version;
        version.setPath(path);
        version.setCloudPath(("cloud" + path).toUtf8());
        version.setSize(Largest - static_cast<quint64>(below(1000)));
        version.setDateModified(utc(2024, 1, 1).addSecs(++m_versions * 3607));
        version.setAttribute(1 + below(6));
        version.setIsBroken(below(5) == 0);
        version.setEncryptionKey(QByteArray(1 + below(20), static_cast<char>(below(256))));
        ASSERT_TRUE(version.insert(static_cast<quint64>(destination), m_connection));
        if (version.attribute() == 3 || version.attribute() == 6) {
            EXPECT_TRUE(CloudFileVersionBitmap(version.id()).insert(m_connection));
        }
        files[QString::number(destination) + path].insert(version.id(), shown(version));
    }

    void remove(int destination, const QString &path, Files &files)
    {
        const QString name = QString::number(destination) + path;
        const auto file = CloudFile::select_(static_cast<quint64>(destination), path, m_connection);
        ASSERT_EQ(!!file, files.contains(name)) << qPrintable(name);
        if (!file)
            return;
        if (below(3) == 0) {
            EXPECT_TRUE(file->delete_(true, m_connection));
            files.remove(name);
            return;
        }
        const auto version = CloudFileVersion::selectLastVersion(file->id(), m_connection);
        EXPECT_EQ(version->id(), files[name].lastKey());
        EXPECT_TRUE(version->delete_(true, m_connection));
        files[name].remove(version->id());
        if (files[name].isEmpty())
            files.remove(name);
    }

    // Reads the tree below `folder`; a folder is there for what it holds.
    void read(CloudFolder folder, Files &files)
    {
        EXPECT_FALSE(CloudFolder::isEmpty(folder.id(), m_connection));
        const QString path = QString::number(folder.destintionId()) + folder.selectPath(m_connection);
        for (const auto &file : CloudFile::selectFolder(folder.id(), 0, 0, m_connection)) {
            EXPECT_EQ(QString::number(file->destinationId()) + file->localPath(), path + file->displayName());
            for (const auto &version : CloudFileVersion::select_(file->id(), m_connection))
                files[path + file->displayName()].insert(version->id(), shown(version));
        }
        for (const auto &child : CloudFolder::select(folder.id(), 0, 0, m_connection))
            read(*child, files);
    }

    std::mt19937 m_random{1};
    qint64 m_versions = 0;
};
TOLM_TEST_ON_EVERY_BACKEND(CatalogueModelTest);

TEST_P(CatalogueModelTest, HoldsExactlyWhatWasStoredAndNotRemoved)
{
    const QStringList names = awkwardNames();
    const LogCapture log;
    Files committed;
    for (int round = 0; round < 20; ++round) {
        Files files = committed;
        {
            DatabaseTransaction transaction(m_connection);
            for (int step = 0; step < 60; ++step) {
                const int destination = 1 + below(2);
                const QString path =
                    QStringLiteral("/%1/%2/%3").arg(names.at(below(3)), QString::number(below(3)), names.at(below(12)));
                if (below(10) < (round < 10 ? 7 : 3))
                    backUp(destination, path, files);
                else
                    remove(destination, path, files);
            }
            if (round % 3 != 2) { // the others are abandoned
                EXPECT_EQ(transaction.commit(), ResultCode::Ok);
                committed = files;
            }
        }
        Files found;
        for (const auto &top : CloudFolder::select(0, 0, 0, m_connection))
            read(*top, found);
        ASSERT_EQ(found, committed) << "round " << round;
        ASSERT_EQ(count("cloud_files"), committed.size());
        const int maps = count("cloud_file_version_bitmaps");
        ASSERT_EQ(maps, count("cloud_file_versions where attributes in (3, 6)"));
        ASSERT_EQ(maps, count("cloud_file_version_bitmaps b join cloud_file_versions v on v.id = b.version_id"));
    }
    EXPECT_GT(committed.size(), 20);
    EXPECT_EQ(log.complaints(), QString());
}

} // namespace
} // namespace Tolm::SQL
