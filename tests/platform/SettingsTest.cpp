#include <platform/SHARED/defines.h>
#include <platform/SHARED/files_operations.h>
#include <platform/Tolm/AppPath.h>

#include <QtCore/QFile>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <gtest/gtest.h>

using SHARED::functions::files_operations::get_attrib_from_file;

namespace {

class SettingsTest : public testing::Test {
protected:
    ~SettingsTest() override
    {
        qunsetenv("TOLM_CONFIG_ROOT");
        qunsetenv("TOLM_EDITION");
    }

    void write(const QByteArray &content) const
    {
        QFile file(m_path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(content), content.size());
    }

    QString value(const QByteArray &key) const
    {
        return get_attrib_from_file(m_path, QString::fromUtf8(key.constData(), key.size()));
    }

    QTemporaryDir m_folder;
    const QString m_path = m_folder.filePath("settings.conf");
};

TEST_F(SettingsTest, ReadsKeysValuesAndComments)
{
    write("# DB_location=comment\n"
          "  #DB_location=indented comment\n"
          "a line that says nothing\n"
          "\n"
          "DB_location_old=/other\n"
          "empty=\n"
          " DB_location =  PGSQL;host:db1;password:a=b#c \r\n"
          "DB_location=second\n"
          "=no key\n"
          "Folder=/srv/K\xC3\xB6ln \xF0\x9F\x92\xBE\n"
          "last=no newline");
    EXPECT_EQ(value("DB_location"), "PGSQL;host:db1;password:a=b#c");
    EXPECT_EQ(value("DB_location_old"), "/other");
    EXPECT_EQ(value("Folder"), QString::fromUtf8("/srv/K\xC3\xB6ln \xF0\x9F\x92\xBE"));
    EXPECT_EQ(value("last"), "no newline");
    for (const char *key : {"empty", "db_location", "DB_loc"})
        EXPECT_EQ(value(key), QString()) << key;
}

TEST_F(SettingsTest, AreReadAnewAndMissNothingInOddFiles)
{
    EXPECT_EQ(value("key"), QString()) << "no file";
    write("\xEF\xBB\xBFkey=after a byte order mark\n");
    EXPECT_EQ(value("key"), "after a byte order mark");
    write(QByteArray(100000, 'x') + "\xFF\xFE\n" + QByteArray(3, '\0') + "key=" + QByteArray(100000, 'v'));
    EXPECT_EQ(value(QByteArray("\0\0\0key", 6)), QString(100000, 'v'));
    EXPECT_EQ(get_attrib_from_file(m_folder.path(), "key"), QString()) << "a folder";
}

TEST_F(SettingsTest, PathsAndEditionFollowTheEnvironmentAtEveryCall)
{
    using namespace SHARED::defines;
    const Tolm::Defines::AppPath &appPath = Tolm::Defines::AppPath::to();
    const QString standard = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + "/tolm/";
    EXPECT_EQ(Path::ETC::CONFIG::config_root(), standard);
    for (const QByteArray root : {"/srv/a", "/srv/a/", "/srv/\xC3\xA4 b"}) {
        qputenv("TOLM_CONFIG_ROOT", root);
        const QString folder = QString::fromUtf8(root.endsWith('/') ? root : root + '/');
        EXPECT_EQ(Path::ETC::CONFIG::config_root(), folder);
        EXPECT_EQ(Path::ETC::CONFIG::default_settings(), folder + "settings.conf");
        EXPECT_EQ(appPath.config(), folder);
        EXPECT_EQ(Path::diskImageMap(), appPath.diskImageMap() + '/');
        EXPECT_TRUE(appPath.diskImageMap().startsWith(folder));
        EXPECT_TRUE(appPath.differentialFileMap().startsWith(folder));
        EXPECT_NE(appPath.differentialFileMap(), appPath.diskImageMap());
    }
    qputenv("TOLM_CONFIG_ROOT", "");
    EXPECT_EQ(appPath.config(), standard) << "an empty name names no folder";

    for (const bool managed : {false, true, false}) {
        qputenv("TOLM_EDITION", managed ? "managed" : "unmanaged");
        EXPECT_EQ(common::is_halvo(), managed);
    }
}

} // namespace
