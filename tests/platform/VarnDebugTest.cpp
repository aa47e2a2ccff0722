#include <platform/Varn/VarnDebug.h>

#include <tests/support/LogCapture.h>

#include <QtCore/QStringList>
#include <gtest/gtest.h>

namespace {

class VarnDebugTest : public testing::Test {
public:
    VarnDebugTest() { QLoggingCategory::setFilterRules("SQL.debug=true\nSQL.info=true"); }
    ~VarnDebugTest() override { QLoggingCategory::setFilterRules({}); }
    Q_DISABLE_COPY_MOVE(VarnDebugTest)

protected:
    QStringList texts() const
    {
        QStringList texts;
        for (const auto &record : m_capture.records())
            texts += record.text;
        return texts;
    }

    const Tolm::Tests::LogCapture m_capture;
    const Varn::VarnDebug m_log{"SQL"};
};

/// An item that counts how often it is converted, and leaves QDebug in another mode than it found it.
struct Untidy {
    mutable int conversions = 0;
};

QDebug operator<<(QDebug debug, const Untidy &item)
{
    ++item.conversions;
    debug.nospace().quote() << Qt::hex << 255;
    return debug;
}

} // namespace

TEST_F(VarnDebugTest, JoinsItemsByOneBlankUnquoted)
{
    m_log.info() << QString("name \"a\"\n") << QChar('x') << true << -1LL << QStringList{"b"};
    m_log.info() << "message, ends in a blank: ";
    m_log.info() << QString() << "b";
    m_log.info() << Untidy() << 255 << QString("t") << Untidy();
    m_log.info();
    EXPECT_EQ(texts(),
              QStringList({"name \"a\"\n x true -1 (b)", "message, ends in a blank: ", " b", "ff 255 t ff", ""}));
}

TEST_F(VarnDebugTest, EachFunctionHasItsLevelAndTheCategory)
{
    m_log.debug() << 1;
    m_log.info() << 2;
    m_log.infoH() << 3;
    m_log.warning() << 4;
    m_log.error() << 5;
    Varn::VarnDebug("Other").warning() << 6;
    EXPECT_EQ(texts().join(""), "12345");
    EXPECT_TRUE(m_capture.mentions("6"));
    EXPECT_EQ(m_capture.texts(QtDebugMsg), QStringList("1"));
    EXPECT_EQ(m_capture.texts(QtInfoMsg), QStringList({"2", "3"}));
    EXPECT_EQ(m_capture.texts(QtWarningMsg), QStringList("4"));
    EXPECT_EQ(m_capture.texts(QtCriticalMsg), QStringList("5"));
}

TEST_F(VarnDebugTest, ALevelThatIsOffConvertsNothingAndSendsNothing)
{
    const Untidy item;
    QLoggingCategory::setFilterRules("SQL.debug=false\nSQL.info=false\nSQL.warning=false\nOther.error=true");
    m_log.debug() << item;
    m_log.info() << item;
    m_log.infoH() << item;
    m_log.warning() << item;
    EXPECT_EQ(item.conversions, 0);
    m_log.error() << item;
    QLoggingCategory::setFilterRules("SQL.debug=true");
    m_log.debug() << item << "now";
    EXPECT_EQ(texts(), QStringList({"ff", "ff now"}));
}

TEST_F(VarnDebugTest, TheRecordGoesOutOnceWhenTheLastOwnerGoes)
{
    {
        Varn::VarnStream first = m_log.info();
        first << "a";
        Varn::VarnStream second = std::move(first);
        // A moved-from stream must take it and drop it.
        first << "lost"; // NOLINT(bugprone-use-after-move, clang-analyzer-cplusplus.Move)
        second << "b";
        EXPECT_TRUE(texts().isEmpty());
    }
    EXPECT_EQ(texts(), QStringList("a b"));
}
