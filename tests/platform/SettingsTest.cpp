#include <platform/SHARED/defines.h>
#include <platform/SHARED/files_operations.h>
#include <platform/Tolm/AppPath.h>
#include <platform/Varn/Core.h>

#include <QtCore/QFile>
#include <QtCore/QStandardPaths>
#include <QtCore/QTemporaryDir>
#include <gtest/gtest.h>

using SHARED::functions::files_operations::get_attrib_from_file;

namespace {

class SettingsFileTest : public testing::Test {
protected:
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
    const QString m_path = m_folder.filePath(QStringLiteral("settings.conf"));
};

class EnvironmentTest : public testing::Test {
protected:
    void TearDown() override
    {
        qunsetenv("TOLM_CONFIG_ROOT");
        qunsetenv("TOLM_EDITION");
    }
};

} // namespace

TEST_F(SettingsFileTest, ReadsKeysValuesAndComments)
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

    EXPECT_EQ(value("DB_location"), QStringLiteral("PGSQL;host:db1;password:a=b#c"));
    EXPECT_EQ(value("DB_location_old"), QStringLiteral("/other"));
    EXPECT_EQ(value("Folder"), QString::fromUtf8("/srv/K\xC3\xB6ln \xF0\x9F\x92\xBE"));
    EXPECT_EQ(value("last"), QStringLiteral("no newline"));
    EXPECT_EQ(value("empty"), QString());
    EXPECT_EQ(value("db_location"), QString()) << "keys mind the case";
    EXPECT_EQ(value("DB_loc"), QString());
}

TEST_F(SettingsFileTest, IsReadAnewAndMissesNothingInOddFiles)
{
    EXPECT_EQ(value("key"), QString()) << "no file";
    write("\xEF\xBB\xBFkey=after a byte order mark\n");
    EXPECT_EQ(value("key"), QStringLiteral("after a byte order mark"));
    write("key=changed");
    EXPECT_EQ(value("key"), QStringLiteral("changed"));
    write(QByteArray(100000, 'x') + "\xFF\xFE\n" + QByteArray(3, '\0') + "key=" + QByteArray(100000, 'v'));
    EXPECT_EQ(value(QByteArray("\0\0\0key", 6)), QString(100000, QLatin1Char('v')));
    EXPECT_EQ(get_attrib_from_file(m_folder.path(), QStringLiteral("key")), QString()) << "a folder";
}

TEST_F(EnvironmentTest, PathsFollowTheEnvironmentAtEveryCall)
{
    using namespace SHARED::defines::Path;
    const Tolm::Defines::AppPath &appPath = Tolm::Defines::AppPath::to();

    const QString standard =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + QStringLiteral("/tolm/");
    EXPECT_EQ(ETC::CONFIG::config_root(), standard);

    for (const QByteArray &root : {QByteArray("/srv/a"), QByteArray("/srv/a/"), QByteArray("/srv/\xC3\xA4 b")}) {
        qputenv("TOLM_CONFIG_ROOT", root);
        const QString folder = QString::fromUtf8(root.endsWith('/') ? root : root + '/');
        EXPECT_EQ(ETC::CONFIG::config_root(), folder);
        EXPECT_EQ(ETC::CONFIG::default_settings(), folder + QStringLiteral("settings.conf"));
        EXPECT_EQ(appPath.config(), folder);
        EXPECT_EQ(diskImageMap(), appPath.diskImageMap() + QLatin1Char('/'));
        EXPECT_TRUE(appPath.diskImageMap().startsWith(folder));
        EXPECT_TRUE(appPath.differentialFileMap().startsWith(folder));
        EXPECT_NE(appPath.differentialFileMap(), appPath.diskImageMap());
    }

    qputenv("TOLM_CONFIG_ROOT", "");
    EXPECT_EQ(appPath.config(), standard) << "an empty name names no folder";
}

TEST_F(EnvironmentTest, TheEditionFollowsTheEnvironmentAtEveryCall)
{
    EXPECT_FALSE(SHARED::defines::common::is_halvo());
    qputenv("TOLM_EDITION", "managed");
    EXPECT_TRUE(SHARED::defines::common::is_halvo());
    qputenv("TOLM_EDITION", "unmanaged");
    EXPECT_FALSE(SHARED::defines::common::is_halvo());
}

TEST(ProductVersionTest, BothFormsAreOneVersion)
{
    const QVersionNumber version = Varn::Core::Version::number();
    EXPECT_EQ(version.segmentCount(), 3);
    EXPECT_EQ(SHARED::defines::common::build_version(), version.toString());
}
